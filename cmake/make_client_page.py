#!/usr/bin/env python3
"""Puts the page for people together as one C++ source.

usage: make_client_page.py FOLDER REPORT_STYLE OUTPUT

FOLDER holds page.html and the files that its tags for scripts and the style name; they are put in
the place of the tags. The policy names each of them by its hash, so that a browser runs those scripts
and no other, and the style of reports (REPORT_STYLE, a C++ source with it as a raw literal): a report
that the page opens from memory is under the page's policy.
"""

import base64
import hashlib
import pathlib
import re
import sys

# Compilers take no arbitrarily long literal.
CHUNK = 4000


def source_hash(text):
    return "'sha256-" + base64.b64encode(hashlib.sha256(text.encode()).digest()).decode() + "'"


def literal(text):
    data = text.encode()
    chunks = [data[at:at + CHUNK] for at in range(0, len(data), CHUNK)]
    return "\n".join('"' + "".join(escaped(byte) for byte in chunk) + '"' for chunk in chunks)


def escaped(byte):
    character = chr(byte)
    if character in '"\\?':
        return "\\" + character
    return character if 32 <= byte < 127 else f"\\{byte:03o}"


class Parts:
    """The files that tags of the page name, in the order of the tags."""

    def __init__(self, folder):
        self.folder = folder
        self.texts = {"style": [], "script": []}

    def put(self, tag, name):
        text = (self.folder / name).read_text(encoding="utf-8")
        if f"</{tag}" in text:
            sys.exit(f"{self.folder / name}: must not contain </{tag}")
        self.texts[tag].append(text)
        return f"<{tag}>{text}</{tag}>"

    def hashes(self, tag):
        return " ".join(map(source_hash, self.texts[tag]))


def report_style(source):
    return re.search(r'R"css\((.*)\)css"', source.read_text(encoding="utf-8"), re.DOTALL)[1]


def main():
    folder, report, output = map(pathlib.Path, sys.argv[1:])
    parts = Parts(folder)
    page = (folder / "page.html").read_text(encoding="utf-8")
    page = re.sub(r'<link rel="stylesheet" href="([^"]+)">', lambda tag: parts.put("style", tag[1]), page)
    page = re.sub(r'<script src="([^"]+)"></script>', lambda tag: parts.put("script", tag[1]), page)
    policy = (f"default-src 'none'; script-src {parts.hashes('script')}; "
              f"style-src {parts.hashes('style')} {source_hash(report_style(report))}; "
              "connect-src 'self'; img-src data:; base-uri 'none'; form-action 'none'; "
              "frame-ancestors 'none'; require-trusted-types-for 'script'; trusted-types 'none'")
    output.write_text(f"""// Made by cmake/make_client_page.py.
#include "kel_cpp/network/ClientPage.hpp"

namespace Quarlen::Kel_cpp {{

ClientPage makeClientPage() {{
    return {{
{literal(page)},
{literal(policy)}}};
}}

}} // namespace Quarlen::Kel_cpp
""", encoding="utf-8")


if __name__ == "__main__":
    main()
