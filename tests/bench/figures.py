"""The figures of build/bench/figures.json, as the report and the plot ask for them."""

import json
import statistics

from cases import CASES, WORK

FILE = WORK / "figures.json"


class Series:
    """One command on one bundle in one place, by each contestant."""

    def __init__(self, record):
        self.place, self.command = record["place"], record["command"]
        self.case = next(case for case in CASES if case.name == record["case"])
        self.contestants = list(record["times"])
        self._times, self._memory = record["times"], record["memory"]

    def seconds(self, name="program"):
        return statistics.median(self._times[name])

    def ratio(self, name):
        """How many times as long as another's the program's run took, pair by pair of one round."""
        return statistics.median(own / other for own, other
                                 in zip(self._times["program"], self._times[name]))

    def memory(self):
        """The program's peak, in MiB."""
        return self._memory["program"] / 1024


class Figures:
    def __init__(self):
        found = json.loads(FILE.read_text(encoding="ascii"))
        self.machine, self.rounds = found["machine"], found["rounds"]
        self.series = [Series(record) for record in found["series"]]

    def of(self, place, command):
        """The series of a command over the sizes of the library."""
        return [one for one in self.series
                if (one.place, one.command) == (place, command) and not one.case.extra]

    def with_files(self, place, count):
        """The series of bundles with so many files more than they need, by command."""
        return {one.command: one for one in self.series
                if (one.place, one.case.extra) == (place, count)}
