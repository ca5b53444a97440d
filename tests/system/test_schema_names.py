"""The default data model against the public TR-181 definition: names that both have agree in type, limits and
defaults, and no description is taken from it. RAV_TR181_XML names the definition; without it these are skipped."""
import json
import os
import pathlib
import re
import xml.etree.ElementTree

import pytest

XML = os.environ.get("RAV_TR181_XML")
SCHEMA = pathlib.Path(os.environ["RAV_SOURCE"]) / "schema"
needs_xml = pytest.mark.skipif(not XML, reason="RAV_TR181_XML does not name the public data model")

# Types of ours that express a type of the definition.
COMPATIBLE = {
    "string": {"string", "enumeration", "pathRef", "secret", "url", "ipAddress", "macAddress", "alias", "uuid"},
    "list": {"list"},
    "Alias": {"alias"},
    "IPAddress": {"ipAddress"}, "IPv4Address": {"ipAddress"}, "IPv6Address": {"ipAddress"},
    "IPPrefix": {"ipPrefix"}, "IPv4Prefix": {"ipPrefix"}, "IPv6Prefix": {"ipPrefix"},
    "MACAddress": {"macAddress"}, "UUID": {"uuid"}, "URL": {"url"}, "URI": {"url"},
    "StatsCounter32": {"unsignedInt"}, "StatsCounter64": {"unsignedLong"},
}


def walk(node, name=""):
    """(full name with {i}, attributes) of every node."""
    if "#attr" in node:
        yield name, node["#attr"]
    for key, child in node.items():
        if key != "#attr":
            step = "{i}" if key == "#template" else key
            yield from walk(child, f"{name}.{step}" if name else step)


def ours():
    nodes = {}
    for path in sorted(SCHEMA.glob("*.json")):
        nodes.update(walk(json.loads(path.read_text())))
    return nodes


def theirs():
    model = xml.etree.ElementTree.parse(XML).getroot().find("model")
    return {
        obj.get("name") + parameter.get("name"): parameter
        for obj in model.findall("object")
        for parameter in obj.findall("parameter")
        if parameter.find("syntax") is not None
    }


def shared():
    mine, public = ours(), theirs()
    return [(name, attr, public[name]) for name, attr in mine.items() if name in public]


def public_type(parameter):
    syntax = parameter.find("syntax")
    if syntax.find("list") is not None:
        return "list", syntax.find("list")
    element = next(child for child in syntax if child.tag != "default")
    return (element.get("ref") if element.tag == "dataType" else element.tag), element


def sentences(text):
    flat = re.sub(r"\s+", " ", re.sub(r"\{\{[^}]*\}\}|'''", "", text or ""))
    return {part.strip().lower() for part in re.split(r"(?<=[.;])\s", flat) if len(part.strip()) > 3}


@needs_xml
def test_most_names_are_the_public_ones():
    assert len(shared()) > 150


@needs_xml
def test_types_are_compatible():
    wrong = []
    for name, attr, parameter in shared():
        kind, _ = public_type(parameter)
        if attr["type"] not in COMPATIBLE.get(kind, {kind}):
            wrong.append((name, attr["type"], kind))
    assert wrong == []


@needs_xml
def test_access_is_the_same():
    assert [n for n, attr, parameter in shared() if attr["access"] != parameter.get("access")] == []


@needs_xml
def test_limits_are_not_wider_and_enumerations_are_whole():
    wrong = []
    for name, attr, parameter in shared():
        _, element = public_type(parameter)
        for bound in element.findall("range"):
            for key in ("minInclusive", "maxInclusive"):
                if bound.get(key) is not None and attr.get(key) != int(bound.get(key)):
                    wrong.append((name, key, attr.get(key), bound.get(key)))
        for size in element.findall("size"):
            if size.get("maxLength") and attr.get("maxLength") != int(size.get("maxLength")):
                wrong.append((name, "maxLength", attr.get("maxLength"), size.get("maxLength")))
        values = {value.get("value") for value in element.findall("enumeration")}
        if not values <= set(attr.get("enum", values)):
            wrong.append((name, "enum", values - set(attr["enum"])))
    assert wrong == []


@needs_xml
def test_defaults_are_the_public_ones():
    wrong = []
    for name, attr, parameter in shared():
        default = parameter.find("syntax/default")
        if default is None or "default" not in attr:
            continue
        written = attr["default"] if isinstance(attr["default"], str) else json.dumps(attr["default"])
        if written != default.get("value"):
            wrong.append((name, written, default.get("value")))
    assert wrong == []


@needs_xml
def test_no_description_is_taken_from_it():
    public = set()
    for element in xml.etree.ElementTree.parse(XML).getroot().iter("description"):
        public |= sentences(element.text)
    assert len(public) > 1000
    taken = {(n, a["description"]) for n, a in ours().items() if sentences(a.get("description")) & public}
    assert taken == set()


def test_no_name_stands_in_two_files():
    seen = {}
    for path in sorted(SCHEMA.glob("*.json")):
        for name, _ in walk(json.loads(path.read_text())):
            assert name not in seen, f"{name}: {seen.get(name)}, {path.name}"
            seen[name] = path.name
    assert len(seen) > 250
