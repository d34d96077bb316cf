#!/usr/bin/env python3
"""Draws each page of a stream of ink as PDF: stream_to_pdf.py HOST[:PORT] FOLDER [FILTER]

FILTER is 'ink.*.1.2.*.*' for instance. Needs stf2 in the path."""
import hashlib, os, pathlib, subprocess, sys
import ink_stream

def draw(page, ink):
    """Draws the page with this ink and what came before, which is in a folder beside the PDF."""
    page.mkdir(parents=True, exist_ok=True)
    new, file = pathlib.Path(f"{page}.new"), page / hashlib.sha256(ink).hexdigest()
    new.write_bytes(ink)
    os.sync()
    new.replace(file)  # whole or not there; and ink that comes again changes nothing
    merge = ["stf2", "merge", "-q", *page.iterdir(), "-o", "-"]
    merged = subprocess.run(merge, stdout=subprocess.PIPE)
    if merged.returncode != 0:
        return file.unlink()  # stf2 has said why: the ink is sealed, for instance
    render = ["stf2", "render", "-q", "-f", "-", "-o", f"{page}.pdf"]
    subprocess.run(render, input=merged.stdout, check=True)
    os.sync()
    print(f"{page}.pdf", flush=True)
    return True

if len(sys.argv) not in (3, 4):
    sys.exit(__doc__)
try:
    for ink in ink_stream.read(sys.argv[1], "pdf", *sys.argv[3:]):
        page = pathlib.Path(sys.argv[2], ink.subject.removeprefix("ink.").replace("/", "_"))
        ink.answer("+ACK" if draw(page, ink.data) else "+TERM")
except ConnectionError as error:
    sys.exit(f"stream_to_pdf.py: {error}")
