#!/usr/bin/env python3
"""Draws each page of a stream of ink as PDF: stream_to_pdf.py HOST[:PORT] FOLDER [FILTER]

For a server that asks for no login. FILTER is 'ink.*.1.2.*.*' for instance. Needs stf2 in the path."""
import hashlib, json, os, pathlib, secrets, socket, subprocess, sys

def messages(address, wanted):
    """Subject, headers, ink and how to answer, of each message for the durable consumer 'pdf'."""
    host, _, port = address.partition(":")
    server = socket.create_connection((host, port or 4222))
    def publish(subject, text, reply=""):
        server.sendall(f"PUB {subject} {reply} {len(text)}\r\n{text}\r\n".encode())
    inbox = "_INBOX." + secrets.token_hex()
    server.sendall(f'CONNECT {{"headers":true,"verbose":false}}\r\nSUB {inbox} 1\r\n'.encode())
    publish("$JS.API.CONSUMER.DURABLE.CREATE.INK.pdf", json.dumps({"stream_name": "INK", "config": {
        "durable_name": "pdf", "ack_policy": "explicit", "filter_subject": wanted}}), inbox)
    received = server.makefile("rb")
    for kind, *words in map(str.split, map(bytes.decode, received)):
        if kind == "PING":
            server.sendall(b"PONG\r\n")
        elif kind.endswith("MSG"):
            data = received.read(int(words[-1]) + 2)[:-2]
            if kind == "HMSG" and len(words) == 5:  # ink; the server's own words have no answer
                lines = data[:int(words[3])].decode().split("\r\n")
                headers = dict(line.split(": ", 1) for line in lines if ": " in line)
                yield words[0], headers, data[int(words[3]):], lambda text, to=words[2]: publish(to, text)
            elif b'"error"' in data:
                sys.exit(data.decode())
            publish("$JS.API.CONSUMER.MSG.NEXT.INK.pdf", '{"batch":1}', inbox)
        elif kind == "-ERR":
            sys.exit(" ".join(words))
    sys.exit("The server has ended the connection.")

def draw(page, ink):
    """Draws the page with this ink and what came before, which is in a folder beside the PDF."""
    page.mkdir(parents=True, exist_ok=True)
    new, file = pathlib.Path(f"{page}.new"), page / hashlib.sha256(ink).hexdigest()
    new.write_bytes(ink)
    os.sync()
    new.replace(file)  # whole or not there; and ink that comes again changes nothing
    merged = subprocess.run(["stf2", "merge", "-q", *page.iterdir(), "-o", "-"], stdout=subprocess.PIPE)
    if merged.returncode != 0:
        return file.unlink()  # stf2 has said why: the ink is sealed, for instance
    subprocess.run(["stf2", "render", "-q", "-f", "-", "-o", f"{page}.pdf"], input=merged.stdout, check=True)
    os.sync()
    print(f"{page}.pdf", flush=True)
    return True

if len(sys.argv) not in (3, 4):
    sys.exit(__doc__)
parts = {}  # of ink beyond the size of a message, by its identity
for subject, headers, ink, answer in messages(sys.argv[1], *(sys.argv[3:] or ["ink.>"])):
    whole = headers.get("Quillpost-Whole", "")
    held = parts.setdefault(whole, {})
    held[int(headers.get("Quillpost-Part", 1))] = ink, answer
    if len(held) == int(headers.get("Quillpost-Parts", 1)):
        page = pathlib.Path(sys.argv[2], subject.removeprefix("ink.").replace("/", "_"))
        is_drawn = draw(page, b"".join(held[part][0] for part in sorted(held)))
        for _, answer in parts.pop(whole).values():
            answer("+ACK" if is_drawn else "+TERM")  # until then the server hands it out again
