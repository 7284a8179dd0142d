#!/usr/bin/env python3
"""An HTTPS server on the loopback that stores what is posted to it.

usage: report-server.py FOLDER [STATUS | silent]

Makes a certificate for 127.0.0.1, FOLDER/certificate.pem, and prints "port N" when it is ready. The n-th post, from 1,
is stored as FOLDER/n/path (of the URL), FOLDER/n/<field> (the form file's bytes) and FOLDER/n/file-name, and answered
with the STATUS (200 unless told) and the line "stored n". With "silent" it takes connections and never answers.
"""
import http.server
import itertools
import os
import pathlib
import re
import ssl
import subprocess
import sys

MAX_POST = 64 << 20
folder = pathlib.Path(sys.argv[1])
behaviour = sys.argv[2] if len(sys.argv) > 2 else "200"
numbers = itertools.count(1)


def make_certificate():
    key, certificate = folder / "key.pem", folder / "certificate.pem"
    subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
                    "-days", "2", "-subj", "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1",
                    "-keyout", key, "-out", certificate], check=True, stderr=subprocess.DEVNULL)
    return key, certificate


def form_files(content_type, body):
    boundary = re.search(r"boundary=([^\s;]+)", content_type).group(1)
    for part in body.split(b"--" + boundary.encode())[1:-1]:
        head, content = part.split(b"\r\n\r\n", 1)
        names = dict(re.findall(rb'(name|filename)="([^"]*)"', head))
        yield names[b"name"].decode(), names.get(b"filename", b""), content[:-len(b"\r\n")]


class Post(http.server.BaseHTTPRequestHandler):
    def do_POST(self):
        length = int(self.headers["Content-Length"])
        body = self.rfile.read(length) if length <= MAX_POST else b""
        number = next(numbers)
        place = folder / f"{number}.new"
        place.mkdir()
        (place / "path").write_text(self.path)
        for field, file_name, content in form_files(self.headers["Content-Type"], body):
            (place / field).write_bytes(content)
            (place / "file-name").write_bytes(file_name)
        os.rename(place, folder / str(number))
        answer = f"stored {number}\n".encode()
        self.send_response(int(behaviour))
        self.send_header("Content-Length", str(len(answer)))
        self.end_headers()
        self.wfile.write(answer)

    def log_message(self, *_):
        pass


server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Post)
key, certificate = make_certificate()
if behaviour != "silent":
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(certificate, key)
    server.socket = context.wrap_socket(server.socket, server_side=True)
print("port", server.server_port, flush=True)
if behaviour == "silent":
    connections = [server.socket.accept() for _ in iter(int, 1)]
server.serve_forever()
