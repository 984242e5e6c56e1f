#!/usr/bin/python3
"""Reads the reports of slateprobe-cli check back as a test station does:
the JUnit file with junitparser, the JSON file with json.

usage: check_reports.py JUNIT JSON SUITE FAILED_STEP REASON [-NOT_RUN | +ALSO_FAILED ...]
FAILED_STEP "-" expects every step to pass or be skipped. Exit 0 when the
files say what is expected, else 1 with what differs."""
import json
import sys

from junitparser import Failure, JUnitXml, Skipped

STEPS = ["identity", "modes", "pen", "keys", "fingerprint"]


def main(junit, json_path, suite_prefix, failed, reason, *others):
    not_run = [o[1:] for o in others if o.startswith("-")]
    also = [o[1:] for o in others if o.startswith("+")]
    problems = []
    xml = JUnitXml.fromfile(junit)
    suites = list(xml)
    if len(suites) != 1:
        problems.append("%d testsuites, not 1" % len(suites))
    suite = suites[0]
    if not suite.name.startswith(suite_prefix):
        problems.append("suite %r does not start with %r" % (suite.name, suite_prefix))
    cases = {case.name: case for case in suite}
    if sorted(cases) != sorted(STEPS):
        problems.append("cases %s" % sorted(cases))
    for name, case in cases.items():
        results = list(case.result)
        failures = [r for r in results if isinstance(r, Failure)]
        skips = [r for r in results if isinstance(r, Skipped)]
        if name == failed:
            if not failures or reason not in (failures[0].message or ""):
                problems.append("%s: no failure saying %r: %r" % (name, reason, results))
        elif name in not_run:
            if not skips or not (skips[0].message or "").startswith("not run"):
                problems.append("%s: not reported as not run: %r" % (name, results))
        elif failures and name not in also:
            problems.append("%s: failed: %s" % (name, failures[0].message))
    expected_failures = (1 if failed != "-" else 0) + len(also)
    if suite.failures != expected_failures:
        problems.append("suite counts %s failures" % suite.failures)

    with open(json_path, encoding="utf-8") as f:
        report = json.load(f)
    if report["verdict"] != ("PASS" if failed == "-" else "FAIL"):
        problems.append("JSON verdict %s" % report["verdict"])
    tablet = report["tablets"][0]
    steps = {s["name"]: s for s in tablet["steps"]}
    if failed != "-":
        if steps[failed]["verdict"] != "FAIL" or reason not in steps[failed]["reason"]:
            problems.append("JSON step %s: %r" % (failed, steps[failed]))
    for name in not_run:
        if steps[name]["verdict"] != "not run":
            problems.append("JSON step %s: %s" % (name, steps[name]["verdict"]))
    if "pen" not in not_run and "lowest rate" not in steps["pen"]["figures"]:
        problems.append("JSON pen figures lack the rate")
    for p in problems:
        print(p)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
