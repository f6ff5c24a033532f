"""Stands in for modules that run on Windows alone: takes some of their options, and does the same
with a module of Linux, on the paths of Wine's drive Z."""

from ansible.plugins.action import ActionBase


def unix(value):
    if isinstance(value, list):
        return [unix(entry) for entry in value]
    if isinstance(value, str) and value.startswith("Z:\\"):
        return value[2:].replace("\\", "/")
    return value


def native(path):
    return "Z:" + path.replace("/", "\\")


class StandIn(ActionBase):
    module = ""
    options = set()  # that the module for Windows has, and the one of Linux too
    more = {}  # options for the one of Linux

    def run(self, tmp=None, task_vars=None):
        del tmp
        unknown = set(self._task.args) - self.options
        if unknown:
            return {"failed": True, "msg": f"unknown options: {unknown}"}
        arguments = {name: unix(value) for name, value in self._task.args.items()}
        result = self.execute({**arguments, **self.more}, task_vars)
        if "path" in result:
            result["path"] = native(result["path"])
        for file in result.get("files", []):
            file["path"] = native(file["path"])
        return result

    def execute(self, arguments, task_vars, module=None):
        return self._execute_module(module_name=module or self.module, module_args=arguments,
                                    task_vars=task_vars)
