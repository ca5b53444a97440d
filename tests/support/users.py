"""Users of the device, as an admin on the local socket makes them."""

USERS = "Device.Users.User."

# Options of a daemon: after a refused login or two its peer waits for ever, or none ever waits.
FOR_EVER = "3600000"  # ms
LONG_PAUSES = ("--limit", "login-free=1", "--limit", f"login-pause-ms={FOR_EVER}", "--limit",
               f"login-pause-max-ms={FOR_EVER}")
NO_PAUSES = ("--limit", "login-free=1000000")


def set_user(client, number, **values):
    """Sets parameters of a user: Username, Password, Role, Enable."""
    pairs = [{"Name": f"{USERS}{number}.{name}", "Value": value} for name, value in values.items()]
    assert client.result("SetParameterValues", {"ParameterList": pairs}) == {"Status": 0}


def add_user(client, name, password="secret", role="user", enable=True):
    """Adds a user and returns its instance number."""
    number = client.result("AddObject", {"ObjectName": USERS})["InstanceNumber"]
    values = {"Username": name, "Role": role, "Enable": enable}
    set_user(client, number, **values | ({} if password is None else {"Password": password}))
    return number


def delete_user(client, number):
    assert client.result("DeleteObject", {"ObjectName": f"{USERS}{number}."}) == {"Status": 0}


def log_in(client, name, password="secret"):
    """Logs in by password; returns 0 or the error's code."""
    return code_of(client.call("Login", {"User": name, "Password": password}))


def code_of(reply):
    return reply["error"]["code"] if "error" in reply else 0


def current_user(client):
    """The name of who is logged in, None for nobody."""
    reply = client.call("GetParameterValues", {"ParameterNames": ["Device.Users.CurrentUser"]})
    if "error" in reply:
        assert reply["error"]["code"] == 9001, reply
        return None
    return reply["result"]["ParameterList"][0]["Value"]


def has_system_access(client):
    reply = client.result("GetParameterValues", {"ParameterNames": ["Device.Users.SystemAccess"]})
    return reply["ParameterList"][0]["Value"]


def rights(client):
    """The role of the session, as what it may do shows it."""
    if code_of(client.call("Event", {"Group": 15})) == 0:
        return "admin"
    reads = code_of(client.call("GetParameterValues", {"ParameterNames": ["Device.Time.Enable"]})) == 0
    return "user" if reads else "guest"
