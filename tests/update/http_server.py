#!/usr/bin/env python3
"""A loopback HTTP server for the update tests (HTTPS when given a certificate
and its key after the log file). Prints its port, then serves
until its standard input closes (so it never outlives the test that started
it). Every request's exact bytes are appended to the file given as argument,
each followed by a line "----".

Paths (the first component chooses the behaviour, the rest is ignored):
  /ok/...        VERSION.KX with [App] VERSION=2.10 and [Other] VERSION=1
  /chunked/...   the same, chunked
  /close/...     the same with Content-Length and Connection: close
  /redirect/...  302 to /ok/VERSION.KX
  /missing/...   404
  /error/...     500
  /hang/...      reads the request and never answers
  /big/...       a body of 100 MB
  /garbage/...   a status line and headers that are not HTTP
  /nosection/... a VERSION.KX without the application's section
  /named/N/...   VERSION.KX with [N] VERSION=2.10
"""
import socket
import sys
import threading

BODY = b"[Other]\r\nVERSION=1\r\n[App]\r\nVERSION=2.10\r\n"


def handle(conn, log):
    with conn:
        conn.settimeout(20)
        data = b""
        while True:
            try:
                while b"\r\n\r\n" not in data:
                    chunk = conn.recv(4096)
                    if not chunk:
                        return
                    data += chunk
            except (socket.timeout, OSError):
                return
            request, data = data.split(b"\r\n\r\n", 1)
            request += b"\r\n\r\n"
            with open(log, "ab") as f:
                f.write(request + b"----\n")
            path = request.split(b" ")[1].decode()
            kind = path.strip("/").split("/")[0]
            keep = True
            try:
                if kind == "ok":
                    conn.sendall(b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\n\r\n" % len(BODY) + BODY)
                elif kind == "named":
                    body = b"[" + path.strip("/").split("/")[1].encode() + b"]\r\nVERSION=2.10\r\n"
                    conn.sendall(b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\n\r\n" % len(body) + body)
                elif kind == "nosection":
                    body = b"[Other]\r\nVERSION=1\r\n"
                    conn.sendall(b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\n\r\n" % len(body) + body)
                elif kind == "chunked":
                    half = len(BODY) // 2
                    conn.sendall(b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                                 + b"%x\r\n" % half + BODY[:half] + b"\r\n"
                                 + b"%x\r\n" % (len(BODY) - half) + BODY[half:] + b"\r\n0\r\n\r\n")
                elif kind == "close":
                    conn.sendall(b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\nConnection: close\r\n\r\n" % len(BODY)
                                 + BODY)
                    keep = False
                elif kind == "redirect":
                    conn.sendall(b"HTTP/1.1 302 Found\r\nLocation: /ok/VERSION.KX\r\nContent-Length: 0\r\n\r\n")
                elif kind == "missing":
                    conn.sendall(b"HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n")
                elif kind == "error":
                    conn.sendall(b"HTTP/1.1 500 Oops\r\nContent-Length: 0\r\n\r\n")
                elif kind == "hang":
                    conn.recv(1)  # until the client gives up
                    return
                elif kind == "big":
                    size = 100 * 1024 * 1024
                    conn.sendall(b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\n\r\n" % size)
                    block = b"x" * 65536
                    for _ in range(size // len(block)):
                        conn.sendall(block)
                elif kind == "garbage":
                    conn.sendall(b"\x00\xffNOT HTTP AT ALL\r\n\x01\x02: \xfe\r\n\r\n")
                    keep = False
                else:
                    conn.sendall(b"HTTP/1.1 400 Bad\r\nContent-Length: 0\r\n\r\n")
            except OSError:
                return
            if not keep:
                return


def main():
    log = sys.argv[1]
    context = None
    if len(sys.argv) > 3:
        import ssl
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(sys.argv[2], sys.argv[3])
    server = socket.socket()
    server.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    server.bind(("127.0.0.1", 0))
    server.listen(16)
    print(server.getsockname()[1], flush=True)

    def serve():
        while True:
            try:
                conn, _ = server.accept()
            except OSError:
                return
            if context:
                try:
                    conn = context.wrap_socket(conn, server_side=True)
                except OSError:
                    conn.close()
                    continue
            threading.Thread(target=handle, args=(conn, log), daemon=True).start()

    threading.Thread(target=serve, daemon=True).start()
    sys.stdin.read()  # the test closes it when it ends
    server.close()


if __name__ == "__main__":
    main()
