"""What Windows reads from a program's file: its manifest and its version."""

import pathlib
import re

PROJECT = pathlib.Path(__file__).resolve().parents[3] / "CMakeLists.txt"
WINDOWS_10 = b'<supportedOS Id="{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}"/>'


def text_value(content, name):
    """Of the version information: a name and a text in UTF-16, each with an end, aligned to four bytes."""
    found = re.search(re.escape(f"{name}\0".encode("utf-16-le")) + rb"(?:\0\0)?((?:[^\0]\0)+)\0\0", content)
    return found[1].decode("utf-16-le") if found else None


def expect(case, program):
    """One manifest that names Windows 10 and long paths, and the version of the project."""
    content = program.read_bytes()
    version = re.search(r"^project\(kel_server VERSION (\S+)", PROJECT.read_text(), re.M)[1]
    case.assertEqual(content.count(b"<assembly "), 1)
    case.assertEqual(content.count(WINDOWS_10), 1)
    case.assertIn(b">true</longPathAware>", content)
    case.assertIn(b'level="asInvoker"', content)
    for name in ("FileVersion", "ProductVersion"):
        case.assertEqual(text_value(content, name), version)
    case.assertEqual(text_value(content, "OriginalFilename"), program.name)
    case.assertEqual(text_value(content, "ProductName"), "kel_server")
    case.assertTrue(text_value(content, "FileDescription").startswith(f"{program.stem}: "))
    # Windows shows the texts of the languages that are named here: the one of "040904B0".
    translation = "Translation\0".encode("utf-16-le")
    case.assertRegex(content, re.escape(translation) + rb"(?:\0\0)?" + re.escape(b"\x09\x04\xb0\x04"))
    case.assertIn("040904B0".encode("utf-16-le"), content)
    numbers = [int(number) for number in version.split(".")]
    fixed = content.index(b"\xbd\x04\xef\xfe")  # VS_FIXEDFILEINFO begins with this mark
    words = [int.from_bytes(content[fixed + at:fixed + at + 2], "little") for at in (10, 8, 14, 12)]
    case.assertEqual(words, [*numbers, 0])
