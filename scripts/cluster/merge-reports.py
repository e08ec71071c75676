#!/usr/bin/env python3
"""Puts the reports of a batch's parts together: merge-reports.py FOLDER PARTS

Reads FOLDER/part-1.json and so on, as `kalvatri batch --json --part 1/PARTS` prints them, and writes FOLDER/all.json in
the same form. Prints a summary; the exit code is 1 if pictures failed or parts have no report.
"""
import json
import os
import pathlib
import sys


def main(folder, parts):
    whole, missing, seen = {"inputs": [], "totals": {}, "others": {}}, [], {}
    for number in range(1, parts + 1):
        try:
            report = json.loads((folder / ("part-%d.json" % number)).read_text())
        except (OSError, ValueError):
            missing.append(str(number))
            continue
        for picture in report["inputs"]:
            if picture["input"] in seen:
                sys.exit("merge-reports.py: %s is in the parts %d and %d" % (picture["input"], seen[picture["input"]], number))
            seen[picture["input"]] = number
        whole["inputs"] += report["inputs"]
        for name, value in report["totals"].items():
            whole["totals"][name] = whole["totals"].get(name, 0) + value
        for name, value in report["others"].items():
            whole["others"][name] = whole["others"].get(name, 0) + value
    whole["inputs"].sort(key=lambda picture: picture["input"])
    new = folder / "all.json.new"
    new.write_text(json.dumps(whole, indent=1) + "\n")
    os.replace(new, folder / "all.json")
    totals = {name: whole["totals"].get(name, 0) for name in ("inputs", "done", "skipped", "failed", "open")}
    print("%(inputs)d pictures: %(done)d done, %(skipped)d skipped, %(failed)d failed, %(open)d open" % totals)
    for picture in whole["inputs"]:
        if picture["error"]:
            print(picture["error"])
    if missing:
        print("no report of part " + ", ".join(missing) + "; the log tells why, and the same command goes on from there")
    return 1 if missing or totals["failed"] or totals["open"] else 0


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    sys.exit(main(pathlib.Path(sys.argv[1]), int(sys.argv[2])))
