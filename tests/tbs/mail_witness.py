"""Tells what Python's email package finds in mails: a line with a JSON object, and the text of that size behind it.

    mail_witness.py serve           takes mails by SMTP on a port of the loopback interface, which the first line names;
                                    ends with its standard input
    mail_witness.py parse FILE...   looks at mails in files, each with an empty line behind it
"""
import asyncio
import email
import email.policy
import json
import sys

NO_MODULE = 77


def found(content, sender=None, recipients=()):
    mail = email.message_from_bytes(content, policy=email.policy.SMTP)
    lines = content.split(b"\r\n") if b"\r\n" in content else content.split(b"\n")
    date = mail["date"]
    text = mail.get_content().encode()
    facts = json.dumps(
        {
            "sender": sender,
            "recipients": list(recipients),
            "from": mail["from"],
            "to": [address.addr_spec for address in mail["to"].addresses],
            "subject": mail["subject"],
            "charset": mail.get_content_charset(),
            "encoding": mail["content-transfer-encoding"],
            "text_size": len(text),
            "defects": [str(one) for one in mail.defects] + [str(one) for name in mail for one in mail[name].defects],
            "longest_line": max(len(line) for line in lines),
            "is_ascii": content.isascii(),
            "has_date": date is not None and date.datetime is not None,
        }
    )
    return facts.encode() + b"\n" + text


def say(what):
    sys.stdout.buffer.write(what)
    sys.stdout.buffer.flush()


def serve():
    try:
        from aiosmtpd.controller import Controller
    except ImportError:
        sys.exit(NO_MODULE)

    class Handler:
        async def handle_DATA(self, server, session, envelope):
            # Told in another thread: who sends the mail listens when the reply has come.
            facts = found(envelope.content, envelope.mail_from, envelope.rcpt_tos)
            asyncio.get_running_loop().run_in_executor(None, say, facts)
            return "250 kept"

    class AnyPort(Controller):
        # The port is not known before; the server makes its own test connection to it.
        def _trigger_server(self):
            self.port = self.server.sockets[0].getsockname()[1]
            super()._trigger_server()

    controller = AnyPort(Handler(), hostname="127.0.0.1", port=0, data_size_limit=64 << 20)
    controller.start()
    say(b"%d\n" % controller.port)
    sys.stdin.read()
    controller.stop()


if sys.argv[1] == "serve":
    serve()
else:
    for path in sys.argv[2:]:
        with open(path, "rb") as file:
            say(found(file.read().removesuffix(b"\n")))
