#!/usr/bin/env python3
"""A client of the ink service in the standard library alone.

  ink_client.py listen APPLICATION-ID [COUNT]   take packages, keep copies here, confirm them
  ink_client.py import FILE...                  give ink files to the service

Listening goes on with the next service when one ends.
"""
import json, os, shutil, socket, struct, sys, time


class Service:
    def __init__(self):
        root = os.environ.get("QUILLPOST_ROOT", "").rstrip("/")
        path = f"{root}/var/tmp/com.talvo.quillpost.sock.{os.getuid()}"
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        try:
            self.socket.connect(path)
        except OSError as error:
            raise ConnectionError(f"no service at {path}: {error.strerror}") from None
        # Anybody may put a socket into /var/tmp: say nothing before it is clear whose it is.
        peer = self.socket.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED, struct.calcsize("3i"))
        if struct.unpack("3i", peer)[1] != os.geteuid():
            raise PermissionError(f"another user's program is listening at {path}")
        self.lines = self.socket.makefile("r", encoding="utf-8", newline="\n")
        self.last_id = 0
        self.notifications = []  # that came while a reply was awaited

    def read(self):
        line = self.lines.readline()
        if not line.endswith("\n"):
            raise ConnectionError("the service ended the connection")
        return json.loads(line)

    def request(self, method, **params):
        """The status and the result of the service's reply."""
        self.last_id += 1
        message = {"jsonrpc": "2.0", "id": self.last_id, "method": method, "params": params}
        self.socket.sendall(json.dumps(message).encode() + b"\n")
        while True:
            message = self.read()
            if "method" in message:
                self.notifications.append(message)
            elif "error" in message:
                raise RuntimeError(message["error"]["message"])
            elif message["id"] == self.last_id:
                return message["result"]["status"], message["result"]["result"]

    def notification(self):
        return self.notifications.pop(0) if self.notifications else self.read()


def free_name(name):
    number, stem = 0, name
    while os.path.exists(name + ".stf2"):
        number, name = number + 1, f"{stem}-{number + 1}"
    return name + ".stf2"


def take(service, application):
    """Takes packages until the service ends, one at each step."""
    status, _ = service.request("EnableNotifications", ApplicationID=application)
    if status != "Success":
        sys.exit(f"{application}: {status}")
    while True:
        package = service.notification()["params"]
        path, pen, pages = (package[f"InkPackage{key}"] for key in ("Path", "Pen", "Pages"))
        copy = free_name("_".join([pen] + pages))
        shutil.copy(path, copy)  # the confirmation makes the file vanish
        print(f"pen {pen}, pages {' '.join(pages)}: {copy}", flush=True)
        service.request("ConfirmInkPackageDelivery", InkPackagePen=pen, InkPackageDelivered=True)
        while os.path.exists(path):  # who leaves before it has gone gets the package again
            time.sleep(0.01)
        yield


def listen(application, count):
    service, pause = Service(), 0.1  # the first service must be there
    while True:
        try:
            for _ in take(service or Service(), application):
                pause, count = 0.1, count - 1
                if count == 0:
                    return
        except (ConnectionError, FileNotFoundError) as error:  # also a package that went with it
            print(f"{error}; trying again", file=sys.stderr)
            time.sleep(pause)
            service, pause = None, min(2 * pause, 5)


def import_files(files):
    service = Service()
    statuses = [service.request("ImportSTF2File", InkPackagePath=os.path.abspath(file))[0]
                for file in files]
    for file, status in zip(files, statuses):
        print(f"{status} {file}")
    sys.exit(0 if set(statuses) == {"Success"} else 1)


if __name__ == "__main__":
    command, arguments = sys.argv[1:2], sys.argv[2:]
    try:
        if command == ["listen"] and arguments:
            listen(arguments[0], int(arguments[1]) if len(arguments) > 1 else -1)
        elif command == ["import"] and arguments:
            import_files(arguments)
        else:
            sys.exit(__doc__)
    except (OSError, RuntimeError) as error:
        sys.exit(f"ink_client.py: {error}")
    except KeyboardInterrupt:
        sys.exit(130)
