#!/usr/bin/env python3
"""Uses the program's page for people in a headless Chromium, as a person does.

usage: page_test.py PROGRAM EXAMPLE_CONFIG FLASH_DATA SCREENSHOTS

Runs in a network of its own where the machine allows one, with an address that is not the loopback's.
SCREENSHOTS is the folder for pictures of the page, for people.
"""

import os
import pathlib
import subprocess
import sys
import unittest

# What the tests of the page have in common with others stands there.
sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent))

# For documentation (RFC 5737): belongs to nobody.
ADDRESS = "192.0.2.1"
ENTER_NETWORK = f"ip link set lo up && ip address add {ADDRESS}/32 dev lo && exec \"$@\""
IN_NETWORK = ["unshare", "--map-root-user", "--net", "sh", "-c", ENTER_NETWORK, "sh"]


def enter_network():
    """Starts this program again in a network of its own."""
    if subprocess.run([*IN_NETWORK, "true"], stderr=subprocess.DEVNULL, check=False).returncode == 0:
        os.environ["KEL_PAGE_TEST_ADDRESS"] = ADDRESS
        os.execvp(IN_NETWORK[0], [*IN_NETWORK, sys.executable, *sys.argv])
    os.environ["KEL_PAGE_TEST_ADDRESS"] = ""


def main():
    if "KEL_PAGE_TEST_ADDRESS" not in os.environ:
        enter_network()
    for name, path in zip(("PROGRAM", "EXAMPLES", "FLASH_DATA", "SCREENSHOTS"), sys.argv[1:5], strict=True):
        os.environ[f"KEL_PAGE_TEST_{name}"] = str(pathlib.Path(path).resolve())
    if sys.argv[5:] == ["login"] and not os.environ["KEL_PAGE_TEST_ADDRESS"]:
        print("skipped: this machine gives no network of its own")
        return
    modules = ("watching", "controlling", "reconnecting", "login", "looks")
    unittest.main(module=None, argv=[sys.argv[0], *(sys.argv[5:] or modules)], verbosity=2)


if __name__ == "__main__":
    main()
