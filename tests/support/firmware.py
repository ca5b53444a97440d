"""Firmware images, and the conversation that brings one onto a device."""

import hashlib
import importlib.machinery
import importlib.util
import io
import json
import subprocess

from daemon import SOURCE, wait_for

INFO = "Device.DeviceInfo."


def load_tool():
    loader = importlib.machinery.SourceFileLoader("make_image", str(SOURCE / "tools" / "make_image"))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader("make_image", loader))
    loader.exec_module(module)
    return module


TOOL = load_tool()


def read(client, *names):
    """Values of Device.DeviceInfo, in the order of their names; one alone for one name."""
    pairs = client.result("GetParameterValues", {"ParameterNames": [INFO + name for name in names]})["ParameterList"]
    values = [pair["Value"] for pair in pairs]
    return values if len(values) > 1 else values[0]


def make_image(path, model, version="1.2.0", payloads=None, key=None):
    """Builds an image with the tree's own tool. payloads: contents by name."""
    folder = path.parent / (path.name + ".payloads")
    folder.mkdir(exist_ok=True)
    names = []
    for name, content in (payloads or {"rootfs.img": b"root" * 5000, "kernel": b"k" * 777}).items():
        (folder / name).write_bytes(content)
        names.append(folder / name)
    command = [SOURCE / "tools" / "make_image", "--model", model, "--version", version, "--output", path]
    subprocess.run([*command, *(["--key", key] if key else []), *names], check=True)
    return path


def entry(name, content, size=None):
    """An archive's file, as make_image writes one."""
    return TOOL.header(name, len(content) if size is None else size) + content + TOOL.padding(len(content))


def image_of(manifest, *entries):
    """The bytes of an image with that manifest (an object or bytes) and whatever stands for its payloads."""
    text = manifest if isinstance(manifest, bytes) else json.dumps(manifest).encode()
    out = io.BytesIO()
    out.write(entry("manifest.json", text) + b"".join(entries) + TOOL.header("digest", 65))
    digest = hashlib.sha256(out.getvalue()).hexdigest().encode() + b"\n"
    return out.getvalue() + digest + TOOL.padding(65) + b"\0" * 1024


def payload(name, content):
    """A row of a manifest."""
    return {"name": name, "size": len(content), "sha256": hashlib.sha256(content).hexdigest()}


def download(path, **more):
    """The parameters of the second request of the conversation."""
    return {"FileType": "Firmware", "URL": f"file://{path}", "NeedPreUpdate": False, **more}


def fetch(client, path, **more):
    reply = client.result("Download", download(path, **more))
    assert reply["Status"] == 1, reply
    return reply


def apply(client, reply, **more):
    """The third request; returns the whole reply to it."""
    return client.call("Download", {"FileType": "Firmware", "URL": "file://" + reply["SavedFirmware"],
                                    "TransactionID": reply["TransactionID"], **more})


def cancel(client, reply):
    return client.call("Download", {"FileType": "Firmware", "TransactionID": reply["TransactionID"]})


def upgrade(daemon, path):
    """The conversation whole, to the daemon's next start."""
    starts = daemon.log().count("<6>ready\n")
    with daemon.connect() as client:
        assert apply(client, fetch(client, path))["result"] == {}
        assert client.ended()
    wait_for(lambda: daemon.log().count("<6>ready\n") > starts, "the next start")


def files_below(folder):
    return sorted(str(path.relative_to(folder)) for path in folder.rglob("*"))
