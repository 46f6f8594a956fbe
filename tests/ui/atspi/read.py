"""Reads a running Korvat window the way a screen reader does, over AT-SPI.

read.py PID tree   every list item (name -> description) and push button [name, description]
read.py PID focus  the focused objects: [name, role, description]
read.py PID texts  every heading, and every name and description showing
Prints one JSON document.
"""
import json
import sys

import pyatspi


def showing(node):
    """The node and every node under it that shows. What does not show hides all under it,
    so its subtree is not asked for: each question is a round trip to the window."""
    if not node.getState().contains(pyatspi.STATE_SHOWING):
        return
    yield node
    for i in range(node.childCount):
        child = node.getChildAtIndex(i)
        if child is not None:
            yield from showing(child)


def main():
    pid, mode = int(sys.argv[1]), sys.argv[2]
    desktop = pyatspi.Registry.getDesktop(0)
    apps = [a for a in desktop if a is not None and a.get_process_id() == pid]
    if not apps:
        print(json.dumps({"error": "the application is not on the accessibility bus"}))
        return
    nodes = [n for window in apps[0] if window is not None for n in showing(window)]
    if mode == "tree":
        out = {
            "items": {n.name: n.description for n in nodes if n.getRole() == pyatspi.ROLE_LIST_ITEM},
            "buttons": [[n.name, n.description] for n in nodes if n.getRole() == pyatspi.ROLE_PUSH_BUTTON],
        }
    elif mode == "texts":
        out = {
            "headings": [n.name for n in nodes if n.getRole() == pyatspi.ROLE_HEADING],
            "texts": [t for n in nodes for t in (n.name, n.description) if t],
        }
    else:
        out = {"focused": [[n.name, n.getRoleName(), n.description] for n in nodes
                           if n.getState().contains(pyatspi.STATE_FOCUSED)]}
    print(json.dumps(out))


main()
