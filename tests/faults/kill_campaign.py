#!/usr/bin/python3 -B
"""Ends the program in the middle of its work and checks that nothing is lost.

Host: a preloaded library ends the process before the Nth call that changes or asks the disk, and in
the middle of every copy, for N = 1 until a run completes; also within the rollback of an install
whose swap or verification is made to fail. Wine: the real process is killed at moments spread over
its run, and right at the moments when the target's folder changes.

After each kill: kill_rules.py says what may be left, and what the next install, status and removal
must do. The bundle, the program and everything outside the target stay as they are throughout.
"""

import sys

import campaign_run
import campaign_sandbox as sandboxes
from kill_host import HostKills, scenarios
from kill_wine import WineKills


def states(old):
    return (("nothing", None), ("older", old), ("damaged", sandboxes.damaged(old)))


def on_host(sandbox, options, figures):
    for scenario in scenarios(*sandbox.targets):
        for state, old in states(sandboxes.plugin_copy("old")):
            if scenario.refuse and old is None:
                continue  # there is nothing to roll back to
            kills = HostKills(sandbox, options.shim, scenario, old)
            points = kills.points()
            # The disk is in another state before each move, so these are in every share.
            picked = [point for point in points if point.is_move or point is points[-1] or
                      point.number % options.share == 0]
            for i, point in enumerate(picked):
                kills.kill_at(point, removal_first=i % 2 == 1)
            if options.share == 1:
                kills.check_shapes()
            figures.add(f"{scenario.title} over {state}", {"kills": len(picked)}, kills.violations,
                        points=len(points), states_left=len(kills.shapes))


def on_wine(sandbox, options, figures):
    # The next runs bring a small bundle, so that most of the time goes into runs to kill.
    small = sandboxes.plugin_copy("mended")
    mender = sandbox.second_installer(small), small
    part = 0
    for target in sandbox.targets:
        for installs in (True, False):
            for state, old in states(sandboxes.plugin_copy("old", extra_files=100)):
                if not installs and old is None:
                    continue  # a removal of nothing does nothing
                kills = WineKills(sandbox, target, installs, old, mender)
                moments = kills.moments()
                # Each part of the campaign takes others of the moments.
                for moment in moments[part * 7 % options.share::options.share]:
                    kills.kill(moment)
                part += 1
                if options.share == 1 and len(kills.shapes) < 3:
                    kills.violations.append("the kills came at too few steps of the run")
                figures.add(f"{kills.arguments[0]} over {state}", {"kills": kills.kills},
                            kills.violations, moments=len(moments), states_left=len(kills.shapes))


def campaign(sandbox, options, figures):
    {"host": on_host, "wine": on_wine}[options.platform](sandbox, options, figures)


if __name__ == "__main__":
    # Under Wine large, so that the time of copying and hashing is most of the run.
    sys.exit(campaign_run.run("kills", "kills", __doc__,
                              {"host": 100_000, "wine": 16 << 20}, campaign))
