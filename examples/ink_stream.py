"""The ink of a stream for programs in Python, in the standard library alone.

    for ink in ink_stream.read("127.0.0.1:4222", consumer="mine"):
        keep(ink.subject, ink.data)
        ink.answer("+ACK")     # until then the server hands it out again; "+TERM": never again

For a server that asks for no login. Ink in parts comes as one. The consumer is durable: another
run goes on where this one ended."""
import json, secrets, socket


class StreamError(ConnectionError):
    """The server's reason, or that it has gone."""


class Ink:
    """Whole ink: its subject ("ink.PEN.PAGE"), its headers, and its bytes."""

    def __init__(self, parts):
        self.subject, self.headers = parts[0][:2]
        self.data = b"".join(part for _, _, part, _ in parts)
        self._answers = [answer for *_, answer in parts]

    def answer(self, word):
        for answer in self._answers:
            answer(word)


def read(address, consumer, wanted="ink.>"):
    """Every ink that the consumer has not acknowledged yet, and then what comes. Never ends.
    `wanted` is a filter of subjects: "ink.*.1.2.*.*"."""
    waiting = {}  # parts, by the identity of their whole and their number: it may be cut anew
    for message in _messages(address, consumer, wanted):
        headers = message[1]
        count = int(headers.get("Quillpost-Parts", 1))
        parts = waiting.setdefault((headers.get("Quillpost-Whole"), count), {})
        parts[int(headers.get("Quillpost-Part", 1))] = message
        if len(parts) == count:
            del waiting[headers.get("Quillpost-Whole"), count]
            yield Ink([parts[number] for number in sorted(parts)])


def _messages(address, consumer, wanted):
    """Subject, headers, bytes and how to answer, of each message; one at a time."""
    host, _, port = address.partition(":")
    server = socket.create_connection((host, port or 4222))

    def publish(subject, text, reply=""):
        server.sendall(f"PUB {subject} {reply} {len(text)}\r\n{text}\r\n".encode())

    inbox = "_INBOX." + secrets.token_hex()
    server.sendall(f'CONNECT {{"headers":true,"verbose":false}}\r\nSUB {inbox} 1\r\n'.encode())
    config = {"durable_name": consumer, "ack_policy": "explicit", "filter_subject": wanted}
    publish(f"$JS.API.CONSUMER.DURABLE.CREATE.INK.{consumer}",
            json.dumps({"stream_name": "INK", "config": config}), inbox)
    received = server.makefile("rb")
    for kind, *words in (line.decode().split() for line in received):
        if kind == "PING":
            server.sendall(b"PONG\r\n")
        elif kind == "-ERR":
            raise StreamError(" ".join(words))
        elif kind.endswith("MSG"):
            data = received.read(int(words[-1]) + 2)[:-2]
            if kind == "HMSG" and len(words) == 5:  # ink; the server's own words have no answer
                head = int(words[3])
                lines = data[:head].decode().split("\r\n")
                headers = dict(line.split(": ", 1) for line in lines if ": " in line)
                yield words[0], headers, data[head:], lambda word, to=words[2]: publish(to, word)
            elif b'"error"' in data:
                raise StreamError(data.decode())
            publish(f"$JS.API.CONSUMER.MSG.NEXT.INK.{consumer}", '{"batch":1}', inbox)
    raise StreamError("the server has ended the connection")
