#!/usr/bin/env python3
"""failed_tests.py FILE: what the tests that failed wrote last, from a report of ctest in the form of JUnit. Of a long run
it is otherwise somewhere above."""

import sys
import xml.etree.ElementTree

LINES = 40


def main():
    for case in xml.etree.ElementTree.parse(sys.argv[1]).iter("testcase"):
        if case.get("status") != "fail":
            continue
        lines = (case.findtext("system-out") or "").strip().splitlines()
        print(f"\n=== {case.get('name')} failed after {float(case.get('time', 0)):.1f} s; the end of what it wrote:")
        print("\n".join(lines[-LINES:]))


main()
