"""What figures depend on besides the programs: the machine, the file system, the tools."""

import datetime
import os
import platform
import re
import subprocess


def describe(place, tools):
    """The facts as a dictionary of short texts; what cannot be found out is "?"."""
    return {
        "date": datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%d %H:%M UTC"),
        "processor": _search("/proc/cpuinfo", r"model name\s*: (.*)"),
        "cores": str(len(os.sched_getaffinity(0))),
        "memory": f"{os.sysconf('SC_PHYS_PAGES') * os.sysconf('SC_PAGE_SIZE') / 2**30:.1f} GiB",
        "kernel": f"{platform.system()} {platform.release()}",
        "system": _search("/etc/os-release", r'PRETTY_NAME="(.*)"'),
        "file system": file_system(place),
        "load before": " ".join(f"{load:.2f}" for load in os.getloadavg()),
        "tools": ", ".join(_version(tool) for tool in tools),
    }


def _search(path, pattern):
    try:
        with open(path) as file:
            found = re.search(pattern, file.read())
    except OSError:
        return "?"
    return found.group(1).strip() if found else "?"


def file_system(place):
    """Type and options of the mount that the place is on."""
    done = subprocess.run(["findmnt", "-n", "-o", "FSTYPE,OPTIONS,SOURCE", "-T", place],
                          capture_output=True, text=True)
    mounts = done.stdout.splitlines()  # the last one covers those before it
    if not mounts:
        return "?"
    kind, options, source = mounts[-1].split(maxsplit=2)
    return f"{kind} {options}" + (" on a loop device" if source.startswith("/dev/loop") else "")


def _version(tool):
    option = "-V" if tool == "ssh" else "--version"
    done = subprocess.run([tool, option], capture_output=True, text=True,
                          env={**os.environ, "LC_ALL": "C"})
    return (done.stdout or done.stderr).split("\n")[0] or tool
