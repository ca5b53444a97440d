"""Rights: what every role may do with every node, held against what the schema files say (support/rights.py)."""

import copy
import json
import re
import shutil

import pytest
import rights
from daemon import SOURCE, Daemon
from rights import ROLES, Node, expected
from users import USERS, add_user, log_in

PERMS = ("rwrwr-", "rw----", "-w----", "rwr---", "r-r-r-", "------", "--rw-w", "rwrwrw", "-wr-r-", "r--w-w")


def branch(perms):
    """A branch with every kind of node, some with rights of their own."""

    def parameter(access="readWrite", **attr):
        return {"#attr": {"type": "string", "access": access, **attr}}

    def members():
        return {"Text": parameter(), "Fixed": parameter("readOnly"), "Open": parameter(perms="rwrwrw"),
                "Read": parameter(perms="r-r-r-"), "Shut": parameter(perms="------"), "Write": parameter(perms="-w-w-w"),
                "Do": {"#attr": {"type": "method"}, "#input": {"Text": parameter()}},
                "DoOpen": {"#attr": {"type": "method", "perms": "rwrwrw"}}}

    def table(**attr):
        return {"#attr": {"type": "object", "multi": True, **attr}, "#template": members()}

    return {"#attr": {"type": "object", "perms": perms}, "Inner": {"#attr": {"type": "object"}, **members()},
            "Table": table(), "Ordered": table(ordered=True), "Const": table(const=True), **members(),
            "OpenTable": table(perms="rwrwrw"), "ShutRows": {
                "#attr": {"type": "object", "multi": True, "perms": "rwrwrw"},
                "#template": {"#attr": {"type": "object", "perms": perms}, "Text": parameter()}}}


def code_of(reply, name=None):
    """A reply's code; of one pair of a request that failed as a whole."""
    if "error" not in reply:
        return 0
    error = reply["error"]
    return int(error["data"]["Data"][name].split()[0]) if error["code"] == 9003 and name else error["code"]


def pairs(name, value):
    return {"ParameterList": [{"Name": name, "Value": value}]}


class Trial:
    """A daemon with the default model and branches of all sorts of rights, and a client logged in for each role."""

    def __init__(self, folder):
        schema = folder / "schema"
        shutil.copytree(SOURCE / "schema", schema)
        branches = {f"Rights{n}": branch(perms) for n, perms in enumerate(PERMS)}
        (schema / "rights.json").write_text(json.dumps({"Device": {"#attr": {"type": "object"}, **branches}}))
        self.tree = rights.load(schema)
        device = json.loads((SOURCE / "schema" / "device.json").read_text(encoding="utf-8"))["Device"]["#attr"]
        (schema / "rights.json").write_text(json.dumps({"Device": {"#attr": device, **branches}}))
        self.tree["Device"]["#attr"] = device
        self.daemon = Daemon(folder, "--listen", "tcp://127.0.0.1:0", "--allow-plain-login", schema=schema).wait_ready()
        self.clients = []
        with self.daemon.connect() as local:
            for role in ROLES:
                add_user(local, "the_" + role, role=role)
                self.clients.append(self.daemon.connect_tcp())
                assert log_in(self.clients[-1], "the_" + role) == 0
        self.root = Node("", self.tree)
        self.paths = {}  # of those nodes that exist, by their patterns
        self.place(self.root, "")

    def close(self):
        for client in self.clients:
            client.close()
        self.daemon.stop()

    def add(self, table):
        """A new instance's number, added by whoever may; None where nobody may."""
        for client in self.clients:
            reply = client.call("AddObject", {"ObjectName": table})
            if "result" in reply:
                return reply["result"]["InstanceNumber"]
        return None

    def instance(self, table):
        """The number of an instance: a new one, or where none can be added one that there is."""
        number = self.add(table)
        if number is None:
            reply = self.clients[0].call("GetParameterNames", {"ParameterPath": table, "NextLevel": True})
            there = reply.get("result", {"ParameterList": []})["ParameterList"]
            number = int(there[0]["Name"].split(".")[-2]) if there else None
        return number

    def place(self, node, above):
        name = node.name
        if node.is_instance:
            name = self.instance(above)
            if name is None:
                return
        path = f"{above}{name}{'' if node.is_parameter else '.'}" if node.parent else ""
        self.paths[node.pattern] = path or "."
        for child in node.children + node.own:
            self.place(child, path)

    def ask(self, client, verb, node, path):
        """The code of one request."""
        if verb == "names":
            return code_of(client.call("GetParameterNames", {"ParameterPath": path, "NextLevel": False}))
        if verb == "attributes":
            return code_of(client.call("GetParameterAttributes", {"ParameterNames": [path]}))
        if verb == "get":
            return code_of(client.call("GetParameterValues", {"ParameterNames": [path]}))
        if verb == "select":
            return code_of(client.call("Select", {"Selector": path}))
        if verb == "set":
            return code_of(client.call("SetParameterValues", pairs(path, {})), path)
        if verb == "add":
            return code_of(client.call("AddObject", {"ObjectName": path}))
        if verb == "delete":
            if node.is_instance and not node.fixed:
                table = path.rstrip(".").rpartition(".")[0] + "."
                path = f"{table}{self.add(table)}."
            return code_of(client.call("DeleteObject", {"ObjectName": path}))
        return code_of(client.call("Execute", {"Path": path, **pairs("no-such-argument", 1)}))

    def observe(self):
        """{(role, verb, pattern): code} of all that exists; arguments of methods have their attributes only."""
        seen = {}
        for node in self.root.all():
            path = self.paths.get(node.pattern)
            for verb in rights.VERBS if path and path != "." else ():
                if node.in_method and verb != "attributes":
                    continue
                for role, client in enumerate(self.clients):
                    seen[role, verb, node.pattern] = self.ask(client, verb, node, path)
        return seen


@pytest.fixture(scope="module")
def trial(tmp_path_factory):
    made = Trial(tmp_path_factory.mktemp("rights"))
    yield made
    made.close()


@pytest.fixture(scope="module")
def seen(trial):
    return trial.observe()


def differences(tree, seen):
    """What was seen and is not as the schema says."""
    nodes = {node.pattern: node for node in Node("", tree).all()}
    found = []
    for (role, verb, pattern), code in seen.items():
        want = expected(nodes[pattern], verb, role)
        if code not in (want if isinstance(want, tuple) else (want,)):
            found.append((ROLES[role], verb, pattern, code, want))
    return found


def test_every_role_and_verb_at_every_node(trial, seen):
    assert differences(trial.tree, seen) == []
    default = [node.pattern for node in Node("", rights.load(SOURCE / "schema")).all()]
    asked = {pattern for _, _, pattern in seen}
    assert len(default) > 250 and len([each for each in default if each in asked]) > 0.9 * len(default)
    assert len(seen) > 10000


@pytest.mark.parametrize("where", [
    "Device.Users.", "Device.Users.CurrentUser", "Device.Users.User.#template.CreateToken.", "Device.Time.",
    "Device.DeviceInfo.SerialNumber", "Device.Rights3.Table.#template.", "Device.Rights4.Inner.Text"])
def test_wrong_expectation_is_noticed(trial, seen, where):
    tree = copy.deepcopy(trial.tree)
    at = tree
    for name in where.rstrip(".").split("."):
        at = at[name]
    node = next(node for node in Node("", tree).all() if node.pattern == where)
    other = node.perms[:2] + ("--" if node.perms[2:4] != "--" else "rw") + node.perms[4:]
    at.setdefault("#attr", {"type": "object"})["perms"] = other
    assert differences(tree, seen) != []


def pattern_of(name):
    """The pattern of a full name: names of nodes are never numbers."""
    return re.sub(r"(?<=\.)\d+(?=\.|$)", "#template", name)


def nodes_below(trial, wanted):
    """Patterns of what exists and is wanted."""
    return {node.pattern for node in trial.root.all() if node.pattern in trial.paths and wanted(node)}


def below(node):
    """Everything but the root, arguments of methods, and what is read by its full name only."""
    return node.parent and not node.in_method and node not in node.parent.own


@pytest.mark.parametrize("role", range(3), ids=ROLES)
def test_lists_hold_what_the_role_may_see(trial, role):
    client = trial.clients[role]
    values = client.result("GetParameterValues", {"ParameterNames": ["."]})["ParameterList"]
    assert {pattern_of(pair["Name"]) for pair in values} == nodes_below(
        trial, lambda node: below(node) and node.is_parameter and node.reads(role))
    names = client.result("GetParameterNames", {"ParameterPath": ".", "NextLevel": False})["ParameterList"]
    assert {pattern_of(pair["Name"]) for pair in names} - {"."} == nodes_below(
        trial, lambda node: below(node) and node.sees(role))
    nodes = {node.pattern: node for node in trial.root.all()}
    for pair in names:
        node = nodes[pattern_of(pair["Name"])]
        may = not node.fixed and node.writes(role) and (node.is_parameter or node.multi)
        assert node.is_instance or pair["Writable"] == may, pair
    attributes = client.result("GetParameterAttributes", {"ParameterNames": ["."], "Depth": -1})["ParameterList"]
    assert {pattern_of(pair["Name"]) for pair in attributes} - {"."} == {
        node.pattern for node in trial.root.all() if node.parent and node.sees(role)}


def schema_names(tree, above=""):
    for name, value in tree.items():
        if name not in ("#attr", "max_instance", "order", "DataModelVersion"):
            yield above + name
            yield from schema_names(value, f"{above}{name}.")


def config_names(tree, above=""):
    for name, value in tree.items():
        if isinstance(value, dict):
            yield from config_names(value, f"{above}{name}.")
        else:
            yield above + name


@pytest.mark.parametrize("role", range(3), ids=ROLES)
def test_trees_hold_what_the_role_may_see(trial, role):
    client = trial.clients[role]
    config = client.result("GetConfig", {"Path": "."})["Config"]
    found = {pattern_of(name) for name in config_names(config)}
    assert {name for name in found if not name.endswith((".max_instance", ".SiteData"))} == nodes_below(
        trial, lambda node: below(node) and node.is_parameter and node.reads(role) and node.type not in ("secret", "any"))
    schema = client.result("GetDatamodel", {"Paths": ["."]})["Datamodel"]
    assert set(schema_names(schema)) == {
        node.pattern.rstrip(".") for node in trial.root.all()
        if node.parent and node not in node.parent.own and node.sees(role)}


def test_template_has_the_rights_of_the_instances(trial):
    for role, client in enumerate(trial.clients):
        for node in trial.root.all():
            if not node.parent or not node.parent.is_instance or not node.is_parameter or "#output" in node.pattern:
                continue
            reply = client.call("GetParameterValues", {"ParameterNames": [node.pattern]})
            assert code_of(reply) == expected(node, "get", role), (role, node.pattern)


def test_ignore_access_error_names_nothing(trial):
    for role, client in enumerate(trial.clients):
        refused = [trial.paths[node.pattern] for node in trial.root.all() if node.is_parameter
                   and node.pattern in trial.paths and node.sees(role) and not node.reads(role) and not node.in_method]
        assert refused or role == 0
        params = {"ParameterNames": refused + ["Device.DeviceInfo.UpTime"], "IgnoreAccessError": True}
        (only,) = client.result("GetParameterValues", params)["ParameterList"]
        assert only["Name"] == "Device.DeviceInfo.UpTime"


def test_order_of_instances_is_for_who_may_write(trial):
    for role, client in enumerate(trial.clients):
        for node in trial.root.all():
            if node.name == "index" and node.pattern in trial.paths:
                path = trial.paths[node.pattern]
                reply = client.call("SetParameterValues", pairs(path, 1))
                want = expected(node, "set", role)
                assert code_of(reply, path) == (0 if want == rights.ALLOWED["set"] else want), (role, path)


def test_rights_end_with_the_log_out(trial):
    with trial.daemon.connect_tcp() as client:
        read, write = {"ParameterNames": ["Device.Time.Enable"]}, pairs("Device.Time.Enable", True)
        for method, params in (("Logout", None), ("SetAuth", {"Token": ""}), ("Login", {"User": "x", "Password": "y"})):
            assert log_in(client, "the_admin") == 0
            assert code_of(client.call("GetParameterValues", read)) == 0
            assert code_of(client.call("SetParameterValues", write)) == 0
            client.call(method, params)
            assert code_of(client.call("GetParameterValues", read)) == 9005
            assert code_of(client.call("SetParameterValues", write), "Device.Time.Enable") == 9005
            assert code_of(client.call("AddObject", {"ObjectName": USERS})) == 9005
