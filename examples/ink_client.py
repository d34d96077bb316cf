#!/usr/bin/env python3
"""A client of the ink service in the standard library alone.

  ink_client.py listen APPLICATION-ID [COUNT]   take packages, keep copies here, confirm them
  ink_client.py import FILE...                  give ink files to the service
"""
import json, os, shutil, socket, struct, sys, time


class Service:
    def __init__(self):
        root = os.environ.get("QUILLPOST_ROOT", "").rstrip("/")
        path = f"{root}/var/tmp/com.talvo.quillpost.sock.{os.getuid()}"
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.socket.connect(path)
        # Anybody may put a socket into /var/tmp: say nothing before it is clear whose it is.
        peer = self.socket.getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED, struct.calcsize("3i"))
        if struct.unpack("3i", peer)[1] != os.geteuid():
            raise PermissionError(f"another user's program is listening at {path}")
        self.lines = self.socket.makefile("r", encoding="utf-8", newline="\n")
        self.last_id = 0
        self.notifications = []  # that came while a reply was awaited

    def read(self):
        line = self.lines.readline()
        if not line:
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


def listen(service, application, count=None):
    status, _ = service.request("EnableNotifications", ApplicationID=application)
    if status != "Success":
        sys.exit(f"{application}: {status}")
    while count is None or count > 0:
        package = service.notification()["params"]
        path, pen = package["InkPackagePath"], package["InkPackagePen"]
        shutil.copy(path, ".")  # the confirmation makes the file vanish
        print(f"pen {pen}, pages {' '.join(package['InkPackagePages'])}: {os.path.basename(path)}")
        count = count - 1 if count else None
        service.request("ConfirmInkPackageDelivery", InkPackagePen=pen, InkPackageDelivered=True)
        while os.path.exists(path):  # who leaves before it has gone gets the package again
            time.sleep(0.01)
    service.request("DisableNotifications", ApplicationID=application)


def import_files(service, files):
    statuses = [service.request("ImportSTF2File", InkPackagePath=os.path.abspath(file))[0]
                for file in files]
    for file, status in zip(files, statuses):
        print(f"{status} {file}")
    return 0 if set(statuses) == {"Success"} else 1


if __name__ == "__main__":
    if len(sys.argv) >= 3 and sys.argv[1] == "listen":
        listen(Service(), sys.argv[2], int(sys.argv[3]) if len(sys.argv) > 3 else None)
    elif len(sys.argv) >= 3 and sys.argv[1] == "import":
        sys.exit(import_files(Service(), sys.argv[2:]))
    else:
        sys.exit(__doc__)
