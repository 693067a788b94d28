#!/usr/bin/python3
# A server that asks each client for a password, in the way that is named, prints the answer, and leaves. Prints the
# port that it listens on, on every address of this machine. Given a certificate, it offers encryption.
#   postgresql-server.py <password|md5|scram|scram-plus|nothing> [<certificate and key>]

import socket
import ssl
import struct
import sys

# https://www.postgresql.org/docs/15/protocol-message-formats.html
ways = {
    "nothing": (0, b""),
    "password": (3, b""),
    "md5": (5, b"salt"),
    "scram": (10, b"SCRAM-SHA-256\0\0"),
    "scram-plus": (10, b"SCRAM-SHA-256-PLUS\0SCRAM-SHA-256\0\0"),
}
encryption_request, gss_request = 80877103, 80877104

way, *certificates = sys.argv[1:]
listener = socket.create_server(("0.0.0.0", 0))
print(listener.getsockname()[1], flush=True)
while True:
    client, _ = listener.accept()
    client.settimeout(10)
    try:
        while first := client.recv(8):
            size, code = struct.unpack(">II", first)
            client.recv(size - 8)
            if code == encryption_request and certificates:
                client.sendall(b"S")
                context = ssl.create_default_context(ssl.Purpose.CLIENT_AUTH)
                context.load_cert_chain(certificates[0])
                client = context.wrap_socket(client, server_side=True)
            elif code in (encryption_request, gss_request):
                client.sendall(b"N")
            else:
                number, details = ways[way]
                client.sendall(struct.pack(">cIi", b"R", 8 + len(details), number) + details)
                print("told", client.recv(1000), flush=True)
                break
    except OSError as fault:
        print("told", fault, flush=True)
    client.close()
