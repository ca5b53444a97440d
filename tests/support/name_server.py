"""A name server of a test's own: answers address questions over UDP on loopback."""

import ipaddress
import socket
import struct
import threading


class NameServer:
    """Knows the addresses of names; stays silent about a name whose addresses are None."""

    def __init__(self, names):
        self.names = names
        self.asked = []
        self.sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.sock.bind(("127.0.0.1", 0))
        self.address = "127.0.0.1:%d" % self.sock.getsockname()[1]
        self.thread = threading.Thread(target=self._serve, daemon=True)
        self.thread.start()

    def _serve(self):
        while True:
            question, peer = self.sock.recvfrom(4096)
            if not question:
                return
            reply = self._reply(question)
            if reply:
                self.sock.sendto(reply, peer)

    def _reply(self, question):
        labels, at = [], 12
        while question[at]:
            labels.append(question[at + 1:at + 1 + question[at]].decode())
            at += 1 + question[at]
        kind = struct.unpack(">H", question[at + 1:at + 3])[0]
        name = ".".join(labels).lower()
        self.asked.append((name, kind))
        addresses = self.names.get(name, [])
        if addresses is None:
            return None
        packed = [each.packed for each in map(ipaddress.ip_address, addresses) if each.version == (4 if kind == 1 else 6)]
        status = 0 if name in self.names else 3
        head = question[:2] + struct.pack(">HHHHH", 0x8180 | status, 1, len(packed), 0, 0)
        records = b"".join(struct.pack(">HHHIH", 0xc00c, kind, 1, 60, len(data)) + data for data in packed)
        return head + question[12:at + 5] + records

    def close(self):
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as last:
            last.sendto(b"", self.sock.getsockname())
        self.thread.join()
        self.sock.close()
