"""All time goes through Shared/src/Time: nothing else of the product reads a clock or sleeps.

The switch by which tests and the laboratory run the clock faster (shared.time-clockcontrol.hpp) is included nowhere in
the product but there.
"""

import re

from tree import AROUND, Finding, Tree, includes, name, top, without_comments

HOME = "Shared/src/Time/"
SWITCH = "shared.time-clockcontrol.hpp"

DIRECT = re.compile(
    r"this_thread\s*::\s*sleep_\w+"
    r"|(?<![\w.>:])(::\s*)?(Sleep|SleepEx|usleep|nanosleep|clock_nanosleep|sleep)\s*\("
    r"|\b(system|steady|high_resolution|file|utc)_clock\s*::\s*now\b"
    r"|\bGetTickCount(64)?\b|\bGetSystemTime(AsFileTime|PreciseAsFileTime)?\s*\(|\bGetLocalTime\s*\("
    r"|\bQueryPerformanceCounter\b|\bQueryUnbiasedInterruptTime\b"
    r"|\bclock_gettime\b|\bgettimeofday\b|\btimespec_get\b"
    r"|(?<![\w.>])(std\s*::\s*|::\s*)?time\s*\(\s*(nullptr|NULL|0|&\s*\w+)\s*\)")


# A wait of the standard library runs in real time, so its span must be one: made by ToRealSpan, or called real by its
# name where real time is meant (realSpan, RealBusyTimeout).
WAIT = re.compile(r"\b(wait|try_lock|try_lock_shared|try_acquire)_(for|until)\s*\(")
REAL = re.compile(r"ToRealSpan|\b[rR]eal[A-Z]\w*|\bm_real[A-Z]\w*")


def check(tree: Tree) -> list[Finding]:
    findings = []
    for path in tree.product_sources():
        if path.startswith(HOME):
            continue
        for line, text in enumerate(without_comments(tree.text(path)).splitlines(), start=1):
            found = DIRECT.search(text)
            if found:
                findings.append(Finding(path, line, f"{found[0].strip()} goes past the agent's clock: use "
                                                    "shared.time-clock.hpp"))
            if WAIT.search(text) and not REAL.search(text):
                findings.append(Finding(path, line, "waits in real time: give the span through ToRealSpan of "
                                                    "shared.time-clock.hpp, or call it real by its name"))
    for path in tree.sources():
        if path.startswith(HOME) or top(path) in AROUND:
            continue
        for line, _, included in includes(tree, path):
            if name(included) == SWITCH:
                findings.append(Finding(path, line, f"includes {SWITCH}: only tests and the laboratory may change the "
                                                    "clock"))
    return findings
