#!/usr/bin/python3
# A mail server that is not ours: keeps what it gets in a folder, each attachment under its own name. Prints the ports
# that it listens on: without encryption and, given a certificate, with STARTTLS and with encryption from the beginning.
# A user logs in as ann, with the password secret.
#   mail-server.py <folder> [<certificate and key>]

import asyncio
import email.policy
import ssl
import sys

from aiosmtpd.smtp import SMTP, AuthResult

folder, *certificates = sys.argv[1:]
policy = email.policy.SMTP


class Keeper:
    async def handle_DATA(self, server, session, envelope):
        message = email.message_from_bytes(envelope.content, policy=policy)
        with open(f"{folder}/envelopes", "a") as envelopes:
            print(session.authenticated, envelope.mail_from, *envelope.rcpt_tos, message["Message-ID"], file=envelopes)
        for part in message.iter_attachments():
            with open(f"{folder}/{part.get_filename()}", "wb") as file:
                file.write(part.get_content())
        return "250 kept"


def authenticate(server, session, envelope, mechanism, data):
    return AuthResult(success=(data.login, data.password) == (b"ann", b"secret"), handled=False)


async def listen(encryption=None, **options):
    def serve():
        # Without a name, it would ask a name server for one.
        return SMTP(Keeper(), hostname="localhost", authenticator=authenticate, data_size_limit=None, **options)

    server = await asyncio.get_running_loop().create_server(serve, "127.0.0.1", 0, ssl=encryption)
    return server.sockets[0].getsockname()[1]


async def main():
    ports = [await listen(auth_require_tls=False)]
    for certificate in certificates:
        tls = ssl.create_default_context(ssl.Purpose.CLIENT_AUTH)
        tls.load_cert_chain(certificate)
        ports.append(await listen(tls_context=tls, require_starttls=True))
        ports.append(await listen(tls, auth_require_tls=False))
    print(*ports, flush=True)
    await asyncio.Event().wait()


asyncio.run(main())
