"""What a Windows program may need of others."""

import re
import shutil
import subprocess

OBJDUMP = "x86_64-w64-mingw32-objdump"
SYSTEM_LIBRARIES = {f"{name}.dll" for name in (
    "advapi32", "bcrypt", "crypt32", "iphlpapi", "kernel32", "msvcrt", "mswsock", "ole32", "rpcrt4",
    "shell32", "shlwapi", "user32", "ws2_32")}


def expect_no_other(case, program):
    """Every library that the program needs is on a bare Windows."""
    if shutil.which(OBJDUMP) is None:
        case.skipTest(f"there is no {OBJDUMP} here")
    headers = subprocess.run([OBJDUMP, "-p", program], capture_output=True, text=True, check=True)
    needed = {name.lower() for name in re.findall(r"DLL Name: (\S+)", headers.stdout)}
    case.assertIn("kernel32.dll", needed)
    case.assertLessEqual(needed, SYSTEM_LIBRARIES)
