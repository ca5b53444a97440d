"""What each role may do with each node of a schema: worked out from the schema files alone, as they are documented.

A node is known by its pattern, its full name with "#template" for instances. Objects close with ".".
"""

import json
import pathlib

ROLES = ("admin", "user", "guest")


def load(folder):
    """The schema files of a folder as one tree."""
    tree = {}
    for file in sorted(pathlib.Path(folder).glob("*.json")):
        merge(tree, json.loads(file.read_text(encoding="utf-8")))
    return tree


def merge(tree, other):
    for key, value in other.items():
        if key in tree and key != "#attr":
            merge(tree[key], value)
        else:
            tree[key] = value


class Node:
    """A node with its perms, as they stand or come from its parent, and its children."""

    def __init__(self, name, tree, parent=None, attr=None):
        self.attr = attr or tree.get("#attr", {"type": "object"})
        self.parent, self.name, self.type = parent, name, self.attr["type"]
        self.multi = self.attr.get("multi", False)
        self.perms = self.attr.get("perms", parent.perms if parent else "rwrwr-")
        self.is_parameter = self.type not in ("object", "method")
        self.is_instance = name == "#template"
        if self.is_parameter:
            self.fixed = self.attr.get("access") != "readWrite"
        else:
            self.fixed = self.attr.get("const", False) or (self.is_instance and parent.fixed) or (
                tree.get("#template", {}).get("#attr", {}).get("const", False))
        self.own = []  # parameters that the daemon adds: read by their full names only
        self.children = [Node(key, value, self) for key, value in tree.items() if key not in ("#attr", "index")]
        if self.type == "method":
            self.children += [Node(key, {}, self) for key in ("#input", "#output") if key not in tree]
        if self.is_instance and parent.attr.get("ordered"):
            access = "readOnly" if parent.fixed else "readWrite"
            self.children.append(Node("index", {}, self, {"type": "unsignedInt", "access": access}))
        own = ["max_instance"] * self.multi + ["order"] * self.attr.get("ordered", False)
        for each in own if parent else ["DataModelVersion"]:
            read_only = "".join(letter if letter == "r" else "-" for letter in self.perms)
            self.own.append(Node(each, {}, self, {"type": "string", "access": "readOnly", "perms": read_only}))

    @property
    def pattern(self):
        if not self.parent:
            return "."
        above = self.parent.pattern if self.parent.parent else ""
        return above + self.name + ("" if self.is_parameter else ".")

    def all(self):
        """The node and what is below it."""
        yield self
        for child in self.children + self.own:
            yield from child.all()

    def reads(self, role):
        return self.perms[2 * role] == "r"

    def writes(self, role):
        return self.perms[2 * role + 1] == "w"

    def sees(self, role):
        return self.reads(role) or self.writes(role) or any(child.sees(role) for child in self.children)

    @property
    def in_method(self):
        return self.name in ("#input", "#output") or (self.parent is not None and self.parent.in_method)


def expected(node, verb, role):
    """The code of a request about an existing node: 0, or of a fault. For set and execute see ALLOWED."""
    if not node.sees(role):
        return 9005
    return VERBS[verb](node, role)


def allowed(right, code):
    return code if right else 9001


def get(node, role):
    if node.is_parameter:
        return allowed(node.reads(role), 0)
    return 9005 if node.type == "method" else 0


def change(node, role, wanted, code):
    if not wanted:
        return 9005
    return 9008 if node.fixed else allowed(node.writes(role), code)


# What an allowed "set" of an object, which only "any" takes, and an allowed "execute" with an argument that no method has are answered.
ALLOWED = {"set": 9006, "execute": (9000, 9003)}

VERBS = {
    "names": lambda node, role: 0,
    "attributes": lambda node, role: 0,
    "get": get,
    "select": get,
    "set": lambda node, role: change(node, role, node.is_parameter, 0 if node.type == "any" else ALLOWED["set"]),
    "add": lambda node, role: change(node, role, node.multi, 0),
    "delete": lambda node, role: change(node, role, node.is_instance, 0),
    "execute": lambda node, role: 9005 if node.type != "method" else allowed(node.writes(role), ALLOWED["execute"]),
}
