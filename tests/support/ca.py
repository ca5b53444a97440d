"""A certificate authority of a test's own, made with openssl."""

import pathlib
import subprocess


def openssl(*arguments):
    subprocess.run(["openssl", *map(str, arguments)], check=True, capture_output=True)


class Authority:
    """Signs certificates; .certificate is what a client has to trust."""

    def __init__(self, folder):
        self.folder = pathlib.Path(folder)
        self.folder.mkdir(parents=True, exist_ok=True)
        self.certificate, self.key = self.folder / "ca.pem", self.folder / "ca.key"
        openssl("req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-days", "2",
                "-subj", "/CN=Test Authority", "-out", self.certificate, "-keyout", self.key)

    def sign(self, name, *alternatives, days=2):
        """A certificate for the alternative names ("DNS:x", "IP:y") and its key; days below 0 has it expired."""
        request, certificate, key, extensions = (self.folder / f"{name}.{kind}" for kind in ("csr", "pem", "key", "ext"))
        openssl("req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-subj", f"/CN={name}",
                "-out", request, "-keyout", key)
        extensions.write_text("subjectAltName=" + ",".join(alternatives) + "\n")
        openssl("x509", "-req", "-in", request, "-CA", self.certificate, "-CAkey", self.key, "-CAcreateserial",
                "-days", days, "-extfile", extensions, "-out", certificate)
        return certificate, key
