"""What the campaigns on the real program share: their options, their figures, their last line."""

import argparse
import collections
import os
import time

import campaign_sandbox as sandboxes


class Figures:
    """What was done and what was wrong, over all parts of a campaign."""

    def __init__(self):
        self.counts = collections.Counter()
        self.violations = 0

    def add(self, part, counts, violations, **details):
        """One part's line, and what was wrong in it. counts are added up, details only shown."""
        numbers = {**counts, **details, "violations": len(violations)}
        print(f"  {part}: " + " ".join(f"{name}={number}" for name, number in numbers.items()),
              flush=True)
        for line in violations[:20]:
            print("    " + line, flush=True)
        self.counts.update(counts)
        self.violations += len(violations)


def run(title, counted, description, library_bytes, campaign):
    """Runs campaign(sandbox, options, figures) and prints the closing line. The exit code: 0 when
    nothing was wrong and the count of what is counted is above zero. library_bytes: the size of the
    bundle's library for each platform that the campaign is for."""
    parser = argparse.ArgumentParser(description=description.split("\n\n")[0])
    parser.add_argument("--platform", choices=list(library_bytes), required=True)
    parser.add_argument("--program", required=True, help="the program to test")
    parser.add_argument("--work", required=True,
                        help="a folder for the runs; emptied at the start, kept on a violation")
    parser.add_argument("--share", type=int, default=1, metavar="N",
                        help="do about one in N of the campaign; 1, the default, is the whole; the "
                             "environment's K7K_CAMPAIGN, N or \"full\", goes before it")
    parser.add_argument("--shim", help="the library kill_shim, preloaded (needed on the host)")
    options = parser.parse_args()
    wanted = os.environ.get("K7K_CAMPAIGN")
    if wanted:
        options.share = 1 if wanted == "full" else int(wanted)
    if options.share < 1:
        parser.error("a share counts from 1")
    if options.platform == "host" and not options.shim:
        parser.error("--shim is needed on the host")

    started = time.monotonic()
    figures = Figures()
    sandbox = sandboxes.Sandbox(options.platform, options.program, options.work,
                                sandboxes.plugin_copy("new", library_bytes[options.platform]))
    ended = False
    try:
        campaign(sandbox, options, figures)
        ended = True
    finally:
        sandbox.close(keep=figures.violations > 0 or not ended)
    counts = " ".join(f"{name}={number}" for name, number in figures.counts.items())
    print(f"{title}: platform={options.platform} {counts} violations={figures.violations} "
          f"seconds={time.monotonic() - started:.0f}")
    return 0 if figures.counts[counted] > 0 and figures.violations == 0 else 1


def rounds_of(whole, share):
    """The number of rounds in a share of a whole, at least one."""
    return -(-whole // share)
