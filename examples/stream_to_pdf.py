#!/usr/bin/env python3
"""Writes each page of a stream of ink as a PDF into a folder, in the standard library alone.

  stream_to_pdf.py HOST[:PORT] FOLDER [FILTER]    FILTER: 'ink.*.1.2.*.*' for instance; or all ink

A durable consumer: a message is acknowledged when its page is drawn, so that no page is missed; one
may be drawn twice. Needs stf2 in the path, and a server that asks for no login.
"""
import json, os, socket, subprocess, sys, uuid

STREAM, CONSUMER = "INK", "pdf"


class Nats:
    def __init__(self, address):
        host, _, port = address.partition(":")
        self.socket = socket.create_connection((host, int(port or 4222)))
        self.input = self.socket.makefile("rb")
        self.inbox = "_INBOX." + uuid.uuid4().hex
        self.send('CONNECT {"verbose":false,"headers":true}\r\n' f"SUB {self.inbox}.* 1\r\n")

    def send(self, text):
        self.socket.sendall(text.encode())

    def publish(self, subject, text, reply=""):
        self.send(f"PUB {subject} {reply} {len(text.encode())}\r\n{text}\r\n")

    def message(self):
        """Subject, reply subject, headers and bytes of the next message."""
        while True:
            words = self.input.readline().decode().split()
            if not words or words[0] == "-ERR":
                raise ConnectionError(" ".join(words) or "the server ended the connection")
            if words[0] == "PING":
                self.send("PONG\r\n")
            if words[0] in ("MSG", "HMSG"):
                has_headers = words[0] == "HMSG"
                reply = words[3] if len(words) == (6 if has_headers else 5) else ""
                data = self.input.read(int(words[-1]) + 2)[:-2]
                size = int(words[-2]) if has_headers else 0
                lines = data[:size].decode().split("\r\n")
                return words[1], reply, dict(l.split(": ", 1) for l in lines if ": " in l), data[size:]

    def ask(self, subject, question):
        self.publish("$JS.API." + subject, json.dumps(question), self.inbox + ".answer")
        answer = json.loads(self.message()[3])
        if "error" in answer:
            raise RuntimeError(answer["error"]["description"])


def draw(folder, subject, identity, ink):
    """All ink of the page so far: one file for each message, and the page's picture beside."""
    # Whoever may write to the stream chooses these; they must not lead out of the folder.
    page = os.path.join(folder, subject[len("ink."):].replace("/", "_"))
    identity = identity.replace("/", "_")
    os.makedirs(page, exist_ok=True)
    with open(os.path.join(page, identity + ".stf2"), "wb") as file:
        file.write(ink)
    files = sorted(os.path.join(page, name) for name in os.listdir(page))
    merged = subprocess.run(["stf2", "merge", "-q", *files, "-o", "-"], stdout=subprocess.PIPE)
    drawn = subprocess.run(["stf2", "render", "-q", "-f", "-", "-o", page + ".pdf"], input=merged.stdout)
    if drawn.returncode == 0:
        print(page + ".pdf", flush=True)


def main(address, folder, wanted="ink.>"):
    nats = Nats(address)
    nats.ask(f"CONSUMER.DURABLE.CREATE.{STREAM}.{CONSUMER}", {"stream_name": STREAM, "config": {
        "durable_name": CONSUMER, "ack_policy": "explicit", "filter_subject": wanted}})
    parts = {}  # by the identity of the whole: its parts and where to acknowledge them
    while True:
        nats.publish(f"$JS.API.CONSUMER.MSG.NEXT.{STREAM}.{CONSUMER}", '{"batch":1}', nats.inbox + ".ink")
        subject, reply, headers, ink = nats.message()
        if not reply:
            continue  # the server only says how it is with the question
        identity = headers.get("Quillpost-Whole") or headers.get("Nats-Msg-Id") or reply
        held = parts.setdefault(identity, {})
        held[int(headers.get("Quillpost-Part", 1))] = (ink, reply)
        if len(held) == int(headers.get("Quillpost-Parts", 1)):
            draw(folder, subject, identity, b"".join(held[number][0] for number in sorted(held)))
            for _, reply in parts.pop(identity).values():
                nats.publish(reply, "+ACK")


if __name__ == "__main__":
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    try:
        main(*sys.argv[1:])
    except KeyboardInterrupt:
        pass
    except (OSError, RuntimeError) as error:
        sys.exit(f"stream_to_pdf.py: {error}")
