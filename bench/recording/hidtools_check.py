#!/usr/bin/env python3
# Reads recordings with hid-tools 0.12's own readers, as hid-replay and
# hid-decode would, without /dev/uhid: hid-decode's descriptor parse, then
# HIDReplay's two passes with the kernel side stubbed out. Prints one line
# per file, and exits 1 if a file is refused or a report comes out other
# than the E: line holds.
#
#   .venv/bin/python bench/recording/hidtools_check.py FILE...
# (.venv of ../shared/tools/hid-tools, made by its install.sh)
import os
import sys
import time

import hidtools.uhid
from hidtools.cli.replay import HIDReplay
from hidtools.hid import ReportDescriptor

injected = []
real_open = os.open


def fake_open(path, flags, *args):
    # The reader opens /dev/uhid in its constructor; give it /dev/null.
    if path == "/dev/uhid":
        return real_open("/dev/null", os.O_RDWR)
    return real_open(path, flags, *args)


os.open = fake_open
hidtools.uhid.UHIDDevice.create_kernel_device = lambda self: None
HIDReplay.ready = property(lambda self: True)
hidtools.uhid.UHIDDevice.call_input_event = lambda self, data: injected.append(bytes(data))
time.sleep = lambda s: None


def expected_reports(path):
    out = []
    with open(path) as f:
        for line in f:
            if line.startswith("E: "):
                fields = line.split()
                out.append(bytes(int(b, 16) for b in fields[3:]))
    return out


failed = False
for path in sys.argv[1:]:
    try:
        descs = []
        with open(path) as f:
            for line in f:
                if line.startswith("R: "):
                    descs.append(ReportDescriptor.from_string(line[3:]))
        injected.clear()
        replay = HIDReplay(path)
        replay.inject_events()
        want = expected_reports(path)
        ok = injected == want and len(descs) == 1
        print(f"{path}: hid-decode {len(descs)} descriptor(s), "
              f"{len(descs[0].bytes) if descs else 0} bytes; hid-replay reader "
              f"{len(injected)} of {len(want)} reports {'identical' if ok else 'DIFFER'}")
        failed |= not ok
    except Exception as e:  # a refusal of either reader
        print(f"{path}: REFUSED: {type(e).__name__}: {e}")
        failed = True
sys.exit(1 if failed else 0)
