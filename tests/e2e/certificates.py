"""Certificates for the tests, made by the openssl command: good ones and bad ones."""

import hashlib
import os
import ssl
import subprocess

EXTENSIONS = """[ca]
basicConstraints = critical,CA:TRUE
keyUsage = critical,keyCertSign,cRLSign
subjectKeyIdentifier = hash
[end]
basicConstraints = critical,CA:FALSE
keyUsage = critical,digitalSignature
extendedKeyUsage = serverAuth,clientAuth
{names}
"""


def openssl(*arguments):
    done = subprocess.run(["openssl", *map(str, arguments)], capture_output=True, timeout=60)
    if done.returncode != 0:
        raise AssertionError(f"openssl {arguments}: {done.stderr.decode()}")


class Certificate:
    """A certificate's and its key's files."""

    def __init__(self, folder, name):
        self.pem = os.path.join(folder, name + ".pem")
        self.key = os.path.join(folder, name + ".key")

    def fingerprint(self):
        with open(self.pem, encoding="ascii") as stream:
            der = ssl.PEM_cert_to_DER_cert(stream.read())
        return hashlib.sha256(der).hexdigest()


class Authority(Certificate):
    """An authority of its own in a fresh folder."""

    def __init__(self, folder):
        os.makedirs(folder)
        super().__init__(folder, "ca")
        self.folder = folder
        self._new_key(self.key)
        openssl("req", "-x509", "-new", "-key", self.key, "-out", self.pem, "-days", "30",
                "-subj", "/CN=Test authority", "-config", self._config(""), "-extensions", "ca")

    def _new_key(self, file):
        openssl("genpkey", "-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-256", "-out", file)
        os.chmod(file, 0o600)

    def _config(self, names):
        file = os.path.join(self.folder, "openssl.cnf")
        names = f"subjectAltName = {names}" if names else ""
        with open(file, "w", encoding="ascii") as stream:
            stream.write("[req]\ndistinguished_name = dn\n[dn]\n" + EXTENSIONS.format(names=names))
        return file

    def issue(self, name, names=None, days=30):
        """A certificate for `names` ("DNS:…", "URI:…", "IP:…"; its own name by default)."""
        made = Certificate(self.folder, name)
        request = os.path.join(self.folder, name + ".csr")
        self._new_key(made.key)
        openssl("req", "-new", "-key", made.key, "-out", request, "-subj", "/CN=nobody",
                "-config", self._config(""))
        openssl("x509", "-req", "-in", request, "-CA", self.pem, "-CAkey", self.key,
                "-CAcreateserial", "-out", made.pem, "-days", days,
                "-extfile", self._config(names or f"DNS:{name}"), "-extensions", "end")
        return made
