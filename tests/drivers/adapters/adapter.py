"""Makes calls of the Python driver, as adapters.py asks for them."""

import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from urllib.parse import quote, unquote

sys.path.insert(0, str(Path(__file__).resolve().parents[3] / "drivers" / "python"))
from k7k_obs_connector import STANDARD, Driver, portable


def requests():
    command, fields = [], {}
    for line in sys.stdin:
        key, _, value = line.rstrip("\n").partition(" ")
        if key == "command":
            command.append(unquote(value))
        elif key:
            fields[key] = unquote(value)
        else:
            yield command, fields
            command, fields = [], {}


def call(driver, fields, number):
    target = portable(fields["target"] + "/" * number) if "target" in fields else STANDARD
    tries = {"attempts": int(fields["attempts"]), "pause": int(fields["pauseMs"]) / 1000}
    return {
        "status": lambda: driver.status(target),
        "install": lambda: driver.install(target),
        "remove": lambda: driver.remove(target),
        "ensureInstalled": lambda: driver.ensure_installed(target, **tries),
        "ensureRemoved": lambda: driver.ensure_removed(target, **tries),
    }[fields["call"]]()


def told(result):
    for key, value in {
            "outcome": result.outcome.value, "reason": result.reason and result.reason.value,
            "state": result.state, "exitCode": result.exit_code, "detail": result.detail,
            "oldCopy": result.old_copy and result.old_copy.value,
            "obsRunning": result.obs_running, "retryable": result.retryable,
            "stdout": result.stdout, "stderr": result.stderr}.items():
        if value is not None:
            print(key, quote(str(value).lower() if isinstance(value, bool) else str(value)))
    print()


def main():
    for command, fields in requests():
        driver = Driver(command, int(fields["timeoutMs"]) / 1000)
        with ThreadPoolExecutor(int(fields["parallel"])) as pool:
            calls = [pool.submit(call, driver, fields, number)
                     for number in range(int(fields["parallel"]))]
        for each in calls:
            told(each.result())
        sys.stdout.flush()


main()
