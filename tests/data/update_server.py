#!/usr/bin/env python3
"""Serves the update check's documents on 127.0.0.1 while one test program runs:

    update_server.py PROGRAM [ARGS...]

The program finds the server at KESTRELIA_UPDATE_SERVER ("http://127.0.0.1:PORT") and an
address nothing answers at in KESTRELIA_UPDATE_CLOSED; the exit code is the program's."""
import http.server
import os
import socket
import subprocess
import sys
import threading


def entry(name, version, date=None, url="http://downloads.example/kestrelia.zip"):
    fields = "<name>%s</name><version>%s</version>" % (name, version)
    if date:
        fields += "<date>%s</date>" % date
    return "  <file>%s<downloadurl>%s</downloadurl></file>\n" % (fields, url)


def files(*entries):
    return '<?xml version="1.0"?>\n<files>\n%s</files>\n' % "".join(entries)


# Another program's entries around ours: only the section our name opens counts.
other = entry("Other.exe", "9.9", "01.01.2030")
padding = other * (4096 // len(other) + 1)
DOCUMENTS = {
    "newer.xml": files(other, entry("Kestrelia.exe", "1.3", "15.03.2027")),
    "same.xml": files(entry("Kestrelia.exe", "1.2", "15.03.2027"), other),
    "older.xml": files(entry("Kestrelia.exe", "1.1", "15.03.2027")),
    "old_date.xml": files(entry("Kestrelia.exe", "1.3", "01.01.2010")),
    "no_date.xml": files(entry("Kestrelia.exe", "1.3")),
    # Our newer entry begins after the first 4096 bytes, which are all the check reads.
    "long.xml": files(padding, entry("Kestrelia.exe", "1.3", "15.03.2027")),
    "not_xml.xml": "There is no version document here.\n",
}


class Handler(http.server.BaseHTTPRequestHandler):
    # Head and document in one write, so that the check's single read finds the whole
    # document there, as it would from a server at the end of a slower line.
    def do_GET(self):
        text = DOCUMENTS.get(self.path.lstrip("/"))
        if text is None:
            self.send_error(404)
            return
        body = text.encode()
        head = "HTTP/1.0 200 OK\r\nContent-Type: text/xml\r\nContent-Length: %d\r\n\r\n" % len(body)
        self.wfile.write(head.encode() + body)

    def log_message(self, *args):
        pass


def main():
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    closed = socket.socket()
    closed.bind(("127.0.0.1", 0))
    closed_port = closed.getsockname()[1]
    closed.close()
    env = dict(os.environ)
    # The address is local: a proxy of the machine must not be asked for it.
    for name in ("http_proxy", "HTTP_PROXY", "https_proxy", "HTTPS_PROXY"):
        env.pop(name, None)
    env["KESTRELIA_UPDATE_SERVER"] = "http://127.0.0.1:%d" % server.server_address[1]
    env["KESTRELIA_UPDATE_CLOSED"] = "http://127.0.0.1:%d/version_info.xml" % closed_port
    try:
        return subprocess.call(sys.argv[1:], env=env)
    finally:
        server.shutdown()


if __name__ == "__main__":
    sys.exit(main())
