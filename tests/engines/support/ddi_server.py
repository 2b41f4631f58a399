# SPDX-License-Identifier: MIT
"""A server that speaks as much of hawkBit's direct device integration as one rollout needs.

One device, one action, one file. It answers as long as the test runs and keeps what the device reports.
"""

import hashlib
import json
import queue
import threading
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer


class DdiServer:
    """Offers `swu` (bytes) to whoever asks, until a final report closes the action."""

    def __init__(self, swu):
        self.swu = swu
        self.open = True
        self.reports = queue.Queue()
        """Each report of the device: its `status` object."""
        self._server = ThreadingHTTPServer(("127.0.0.1", 0), _handler_for(self))
        self.url = f"http://127.0.0.1:{self._server.server_address[1]}"
        threading.Thread(target=self._server.serve_forever, daemon=True).start()

    def next_report(self):
        """Waits for a report of the device."""
        return self.reports.get()

    def close(self):
        self._server.shutdown()
        self._server.server_close()

    def base(self, path):
        links = {"configData": {"href": f"{self.url}{path}/configData"}}
        if self.open:
            links["deploymentBase"] = {"href": f"{self.url}{path}/deploymentBase/1"}
        return {"config": {"polling": {"sleep": "00:00:01"}}, "_links": links}

    def deployment(self):
        digests = {name: hashlib.new(name, self.swu).hexdigest() for name in ("sha1", "md5", "sha256")}
        artifact = {"filename": "firmware.swu", "hashes": digests, "size": len(self.swu),
                    "_links": {"download-http": {"href": f"{self.url}/firmware.swu"}}}
        chunk = {"part": "bApp", "version": "1", "name": "firmware", "artifacts": [artifact]}
        return {"id": "1", "deployment": {"download": "forced", "update": "forced", "chunks": [chunk]}}


def _handler_for(ddi):
    class Handler(BaseHTTPRequestHandler):
        def do_GET(self):
            if self.path == "/firmware.swu":
                self._answer(ddi.swu, "application/octet-stream")
            elif "/deploymentBase/" in self.path:
                self._answer(json.dumps(ddi.deployment()).encode())
            else:
                self._answer(json.dumps(ddi.base(self.path)).encode())

        def do_PUT(self):
            self._body()
            self._answer(b"{}")

        def do_POST(self):
            status = json.loads(self._body())["status"]
            if status["execution"] == "closed":
                ddi.open = False
            self._answer(b"{}")
            ddi.reports.put(status)

        def _body(self):
            return self.rfile.read(int(self.headers["Content-Length"]))

        def _answer(self, body, kind="application/hal+json"):
            self.send_response(200)
            self.send_header("Content-Type", kind)
            self.send_header("Content-Length", str(len(body)))
            self.end_headers()
            self.wfile.write(body)

        def log_message(self, *_):
            pass

    return Handler
