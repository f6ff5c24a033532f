from ansible.plugins.action import ActionBase


class ActionModule(ActionBase):
    """Leaves the words as they are, since Wine reads paths of Windows."""

    def run(self, tmp=None, task_vars=None):
        del tmp
        return self._execute_module(module_name="ansible.builtin.command",
                                    module_args={"argv": self._task.args["argv"]},
                                    task_vars=task_vars)
