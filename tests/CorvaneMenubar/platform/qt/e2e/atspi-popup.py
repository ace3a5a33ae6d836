#!/usr/bin/python3
# What a screen reader finds in the app's open popup (Debian's python3-pyatspi), the way Orca
# meets it: a popup is not among the application's children, so the script moves the keyboard
# highlight (xdotool's Down) and reads the menu of the item that takes the focus. Prints every
# item's role, name, states and actions, one line each; exits 1 when an item has no name, no
# item offers the Corvane target or a dismiss, or "Launch at Login" is not a check item.
import subprocess
import sys

import pyatspi
from gi.repository import GLib

ROLES = ("menu item", "check menu item", "check box", "radio menu item", "menu")
found = {}


def onFocus(event):
    source = event.source
    if not event.detail1 or source is None or source.getRoleName() not in ROLES:
        return
    app = source.getApplication()
    if app is not None and "corvane" in (app.name or "").lower() and "menu" not in found:
        found["menu"] = source.parent
        pyatspi.Registry.stop()


def press():
    subprocess.run(["xdotool", "key", "Down"], check=False)
    return False


def actions(node):
    try:
        action = node.queryAction()
    except NotImplementedError:
        return []
    return [action.getName(i) for i in range(action.nActions)]


pyatspi.Registry.registerEventListener(onFocus, "object:state-changed:focused")
GLib.timeout_add(300, press)
GLib.timeout_add(5000, lambda: pyatspi.Registry.stop() or False)
pyatspi.Registry.start()
menu = found.get("menu")
if menu is None:
    print("no item of the popup took the focus")
    sys.exit(1)
items, problems = [], []
for i in range(min(menu.childCount, 400)):
    node = menu.getChildAtIndex(i)
    role = node.getRoleName()
    if role not in ROLES:
        continue
    states = node.getState()
    names = actions(node)
    flags = [word for state, word in ((pyatspi.STATE_ENABLED, "enabled"), (pyatspi.STATE_CHECKABLE, "checkable"),
                                      (pyatspi.STATE_CHECKED, "checked")) if states.contains(state)]
    line = "%-10s | %s | %s | %s" % (role, node.name, ",".join(flags), ", ".join(names))
    items.append(line)
    if not node.name.strip():
        problems.append("no name: " + line)
    if node.name.startswith("Launch at Login") and role not in ("check box", "check menu item"):
        problems.append("Launch at Login is not a check item: " + line)
print("\n".join(items))
agents = [i for i in items if "Open in Corvane" in i.split("|")[3]]
dismissible = [i for i in items if "Dismiss" in i.split("|")[3]]
print("%d items, %d with the Corvane target, %d with a dismiss" % (len(items), len(agents), len(dismissible)))
if not agents:
    problems.append("no item offers Open in Corvane")
if not dismissible:
    problems.append("no item offers a dismiss")
for p in problems:
    print("PROBLEM", p)
sys.exit(1 if problems else 0)
