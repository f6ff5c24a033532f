from ansible_collections.ansible.windows.plugins.plugin_utils.stand_in import StandIn


class ActionModule(StandIn):
    module = "ansible.builtin.find"
    options = {"paths", "recurse", "hidden", "get_checksum"}
