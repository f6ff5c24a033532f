"""Makes one call of the Python driver; test_conformance.py tells how it is asked."""

import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from urllib.parse import quote, unquote

sys.path.insert(0, str(Path(__file__).resolve().parents[3] / "drivers" / "python"))
from k7k_obs_connector import STANDARD, Driver, portable


def asked():
    command, fields = [], {}
    for line in sys.stdin:
        key, _, value = line.rstrip("\n").partition(" ")
        if key == "command":
            command.append(unquote(value))
        else:
            fields[key] = unquote(value)
    return command, fields


def call(driver, fields):
    target = portable(fields["target"]) if "target" in fields else STANDARD
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
            "obsRunning": result.obs_running, "retryable": result.retryable,
            "stdout": result.stdout, "stderr": result.stderr}.items():
        if value is not None:
            print(key, quote(str(value).lower() if isinstance(value, bool) else str(value)))
    print()


def main():
    command, fields = asked()
    driver = Driver(command, int(fields["timeoutMs"]) / 1000)
    count = int(fields["parallel"])
    with ThreadPoolExecutor(count) as pool:
        for result in pool.map(lambda _: call(driver, fields), range(count)):
            told(result)


main()
