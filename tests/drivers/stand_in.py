"""Plays the program for the tests of the drivers.

    stand_in.py FOLDER WORD [OBS_ROOT]

runs.json in the folder has what each run does, in their order. In the file `log` there each run
writes how it was asked, the processes it started, and that it ends.

    read              reads its input to the end before it writes
    out, err, times   what it writes on the two streams, each character a byte, and how often
    slowly            writes it byte by byte
    child, apart      starts a child for so many seconds that holds the streams; in its own session
    close             closes its streams
    hang              does not end by itself
    code, signal      how it ends
"""

import fcntl
import json
import os
import subprocess
import sys
import time


class Log:
    def __init__(self, folder):
        self._file = open(os.path.join(folder, "log"), "a+", encoding="utf-8")

    def write(self, **entry):
        """Gives the entries before it."""
        fcntl.flock(self._file, fcntl.LOCK_EX)
        self._file.seek(0)
        before = [json.loads(line) for line in self._file]
        self._file.write(json.dumps(entry) + "\n")
        self._file.flush()
        fcntl.flock(self._file, fcntl.LOCK_UN)
        return before


def write_streams(run):
    for stream, text in ((1, run.get("out", "")), (2, run.get("err", ""))):
        content = text.encode("latin-1") * run.get("times", 1)
        while content:
            count = os.write(stream, content[:1] if run.get("slowly") else content)
            content = content[count:]
            time.sleep(0.005 if run.get("slowly") else 0)


def main():
    folder, *words = sys.argv[1:]
    log = Log(folder)
    number = sum("asked" in entry for entry in log.write(asked=words, process=os.getpid()))
    with open(os.path.join(folder, "runs.json"), encoding="utf-8") as file:
        run = json.load(file)[number]
    if "child" in run:
        child = subprocess.Popen(["sleep", str(run["child"])],
                                 start_new_session=run.get("apart", False))
        log.write(child=child.pid, apart=run.get("apart", False))
    if run.get("read"):
        sys.stdin.read()
    write_streams(run)
    if run.get("close"):
        os.close(1)
        os.close(2)
    if run.get("hang"):
        time.sleep(600)
    log.write(ends=os.getpid())
    if "signal" in run:
        os.kill(os.getpid(), run["signal"])
    os._exit(run.get("code", 0))


main()
