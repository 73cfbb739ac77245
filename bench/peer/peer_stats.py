#!/usr/bin/python3
"""LibreOffice's own statistics of each file, computed live, with the time
each took. Runs inside LibreOffice's Python (python3-uno): starts a headless
office on a private pipe and profile, then for every file loads it hidden,
reads the words, characters and pages the office computes (not the figures
stored in the file), and closes it.

    peer_stats.py LIST OUT   LIST: one path a line; OUT: tab-separated
                             path, seconds, words, characters, pages or error
"""
import os
import subprocess
import sys
import tempfile
import time

import uno
from com.sun.star.beans import PropertyValue


def prop(name, value):
    p = PropertyValue()
    p.Name = name
    p.Value = value
    return p


def connect(pipe, profile):
    office = subprocess.Popen(
        ["soffice", "--headless", "--invisible", "--nologo", "--norestore", "--nodefault",
         "-env:UserInstallation=file://" + profile, "--accept=pipe,name=%s;urp;" % pipe],
        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    local = uno.getComponentContext()
    resolver = local.ServiceManager.createInstanceWithContext("com.sun.star.bridge.UnoUrlResolver", local)
    for _ in range(600):
        try:
            ctx = resolver.resolve("uno:pipe,name=%s;urp;StarOffice.ComponentContext" % pipe)
            return office, ctx.ServiceManager.createInstanceWithContext("com.sun.star.frame.Desktop", ctx)
        except Exception:
            time.sleep(0.1)
    office.kill()
    sys.exit("peer_stats: LibreOffice did not start")


def statistics(desktop, path):
    doc = desktop.loadComponentFromURL(uno.systemPathToFileUrl(os.path.abspath(path)), "_blank", 0,
                                       (prop("Hidden", True), prop("ReadOnly", True)))
    if doc is None:
        raise RuntimeError("not loaded")
    try:
        words = doc.getPropertyValue("WordCount")
        chars = doc.getPropertyValue("CharacterCount")
        pages = doc.getCurrentController().getPropertyValue("PageCount")
        return words, chars, pages
    finally:
        doc.close(True)


def alive(desktop):
    try:
        desktop.getCurrentComponent()
        return True
    except Exception:
        return False


def main():
    paths = [line.rstrip("\n") for line in open(sys.argv[1], encoding="utf-8") if line.strip()]
    profile = tempfile.mkdtemp(prefix="peer-profile-")
    starts = 0
    office, desktop = connect("peer%d-%d" % (os.getpid(), starts), profile)
    # The first document pays for loading the Writer module; it is timed
    # apart so the per-document figures are those of a warm office.
    try:
        with open(sys.argv[2], "w", encoding="utf-8") as out:
            for path in paths:
                start = time.perf_counter()
                restart = False
                try:
                    words, chars, pages = statistics(desktop, path)
                    result = "%d\t%d\t%d" % (words, chars, pages)
                except Exception as e:  # a file the office cannot open is reported, not fatal
                    result = "error\t%s" % str(e).replace("\t", " ").replace("\n", " ")[:200]
                    # A document that brings the office down costs its own
                    # time only: a new office takes the next one.
                    restart = not alive(desktop)
                out.write("%s\t%.6f\t%s\n" % (path, time.perf_counter() - start, result))
                if restart:
                    office.kill()
                    starts += 1
                    office, desktop = connect("peer%d-%d" % (os.getpid(), starts), profile)
    finally:
        try:
            desktop.terminate()
        except Exception:
            pass
        office.wait(timeout=30)


if __name__ == "__main__":
    main()
