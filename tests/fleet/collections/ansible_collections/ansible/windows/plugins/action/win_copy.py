from ansible_collections.ansible.windows.plugins.plugin_utils.stand_in import StandIn


class ActionModule(StandIn):
    module = "ansible.builtin.copy"
    options = {"src", "dest"}
    more = {"remote_src": True}  # controller and host have one disk
