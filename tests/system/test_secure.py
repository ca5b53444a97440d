"""ravc and ravd in TLS: who is believed, and what is said when one is not."""

import os
import subprocess

import pytest
from ca import Authority
from daemon import RAVC

NAME = "Device.DeviceInfo.SoftwareVersion"


@pytest.fixture(scope="module")
def authority(tmp_path_factory):
    return Authority(tmp_path_factory.mktemp("ca"))


@pytest.fixture
def secure_ravd(start_ravd):
    """Starts a ravd that listens on TCP, too, with a certificate and its key."""

    def start(certificate, key):
        return start_ravd("--listen", "tcp://127.0.0.1:0", "--tls-cert", certificate, "--tls-key", key)

    return start


def ask(destination, *options, trust=None):
    environment = {**os.environ, "SSL_CERT_FILE": str(trust) if trust else "/nonexistent", "SSL_CERT_DIR": "/nonexistent"}
    return subprocess.run([RAVC, "-u", str(destination), *options, "-r", "get", NAME], capture_output=True, text=True,
                          timeout=60, check=False, env=environment)


def tcp(ravd, host="127.0.0.1"):
    return f"tcp://{host}:{ravd.ports()[0]}"


def refused(result, reason):
    assert result.returncode == 1
    assert result.stdout.startswith("Cannot connect to ravd(requests) - TLS handshake or verification failed")
    assert reason in result.stdout
    assert result.stdout.endswith("(-5)\n")


def test_by_address_name_and_local_socket(authority, secure_ravd):
    ravd = secure_ravd(*authority.sign("good", "DNS:localhost", "IP:127.0.0.1"))
    for destination in (tcp(ravd), tcp(ravd, "localhost"), ravd.socket):
        result = ask(destination, "--ssl", trust=authority.certificate)
        assert (result.returncode, result.stdout) == (0, " = '0.2.1'\n"), result


def test_local_socket_takes_clear_text_beside_tls(authority, secure_ravd):
    ravd = secure_ravd(*authority.sign("both", "DNS:localhost"))
    assert ask(ravd.socket).stdout == " = '0.2.1'\n"


def test_wrong_host_name(authority, secure_ravd):
    ravd = secure_ravd(*authority.sign("wrong", "DNS:gateway.example"))
    refused(ask(tcp(ravd, "localhost"), "--ssl", trust=authority.certificate), "hostname mismatch")
    refused(ask(ravd.socket, "--ssl", trust=authority.certificate), "hostname mismatch")
    refused(ask(tcp(ravd), "--ssl", trust=authority.certificate), "IP address mismatch")


def test_expired(authority, secure_ravd):
    ravd = secure_ravd(*authority.sign("expired", "DNS:localhost", "IP:127.0.0.1", days=-1))
    refused(ask(tcp(ravd), "--ssl", trust=authority.certificate), "certificate has expired")


def test_self_signed(secure_ravd, certificate):
    refused(ask(tcp(secure_ravd(*certificate)), "--ssl"), "self-signed certificate")


def test_unknown_authority(authority, secure_ravd, tmp_path):
    ravd = secure_ravd(*authority.sign("unknown", "IP:127.0.0.1"))
    refused(ask(tcp(ravd), "--ssl", trust=Authority(tmp_path / "other").certificate), "unable to get local issuer")


def test_tls_against_clear_text_and_the_other_way_round(authority, start_ravd, secure_ravd):
    clear = start_ravd("--listen", "tcp://127.0.0.1:0")
    result = ask(tcp(clear), "--ssl", trust=authority.certificate)
    assert result.returncode == 1 and result.stdout.endswith("(-5)\n"), result
    secure = secure_ravd(*authority.sign("clear", "IP:127.0.0.1"))
    result = ask(tcp(secure))
    assert "Status: OK" not in result.stdout and " = " not in result.stdout, result


def test_clear_tcp(start_ravd):
    assert ask(tcp(start_ravd("--listen", "tcp://127.0.0.1:0"))).stdout == " = '0.2.1'\n"
    assert ask(tcp(start_ravd("--listen", "tcp://[::1]:0"), "[::1]")).stdout == " = '0.2.1'\n"
