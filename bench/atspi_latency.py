"""Times a running Korvat window's answers to a screen reader's questions, over AT-SPI.

atspi_latency.py PID [COUNT] [SPACING_MS]
Asks COUNT questions (60), SPACING_MS (100) apart, each one round trip to the window's
thread: the window's name, its number of children, and the number of lines the log's list
holds, in turn. Prints "median MS worst MS of N", then the median of each question.
"""
import statistics
import sys
import time

import pyatspi


def application(pid):
    # The window registers with the accessibility bus a moment after it shows.
    for _ in range(100):
        desktop = pyatspi.Registry.getDesktop(0)
        apps = [a for a in desktop if a is not None and a.get_process_id() == pid]
        if apps and apps[0].childCount > 0:
            return apps[0]
        time.sleep(0.1)
    return None


def log_list(window):
    queue = [window]
    seen = 0
    while queue and seen < 3000:
        node = queue.pop(0)
        seen += 1
        if node.getRole() == pyatspi.ROLE_LIST and node.name == "Log output":
            return node
        queue.extend(c for c in (node.getChildAtIndex(i) for i in range(node.childCount)) if c is not None)
    return None


def main():
    pid = int(sys.argv[1])
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 60
    spacing = (int(sys.argv[3]) if len(sys.argv) > 3 else 100) / 1000.0
    app = application(pid)
    if app is None:
        print("error: the application is not on the accessibility bus")
        return 1
    window = app.getChildAtIndex(0)
    lines = log_list(window)
    if lines is None:
        print("error: the window shows no log")
        return 1
    questions = [window.get_name, window.get_child_count, lines.get_child_count]
    samples = []
    for i in range(count):
        # Without its event loop libatspi caches nothing; cleared all the same, so each
        # question is a round trip the window's thread has to answer.
        window.clear_cache()
        lines.clear_cache()
        start = time.perf_counter()
        questions[i % len(questions)]()
        samples.append((time.perf_counter() - start) * 1000.0)
        time.sleep(spacing)
    each = ", ".join("%s %.1f" % (name, statistics.median(samples[k::len(questions)]))
                     for k, name in enumerate(["window's name", "its children", "the log's lines"]))
    print("median %.1f worst %.1f of %d (%s)" % (statistics.median(samples), max(samples), len(samples), each))
    return 0


sys.exit(main())
