from ansible_collections.ansible.windows.plugins.plugin_utils.stand_in import StandIn


class ActionModule(StandIn):
    module = "ansible.builtin.unarchive"
    options = {"src", "dest"}
    more = {"remote_src": True}

    def execute(self, arguments, task_vars, module=None):
        # The module for Windows makes the folder itself.
        super().execute({"path": arguments["dest"], "state": "directory"}, task_vars,
                        "ansible.builtin.file")
        return super().execute(arguments, task_vars)
