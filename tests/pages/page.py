"""Runs the examples of a page, one after the other on a new rig, and compares what they print with what the page shows.

usage: page.py [--exe] PAGE TOOLS_DIR
    --exe   has every `vrelhost run` without a route of its own go through the downloader, whose failures the log tells

An example is an indented line that begins with "$ ", and all below it, as deep or blank, up to the next one;
one that shows nothing has to succeed.
Below an example, what begins with "ruxFwDownloader" is the command line that its request prints with --dry-run.
In what a page shows, "…" stands for anything, also for several lines; "(exit code N)" at its end tells one that is not
0; times, ports and dates may differ; lines of several devices may come in any order. A command goes on after a "\\".
A page that ends with `exit 77` is skipped; one of man is rendered first.
C++ and Python between fences are that of an example or a tool, whatever the indentation; tests run those.
"""

import difflib
import doctest
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
TIMES = [
    (r"\b\d+\.\d{3}\b", "0.000"),  # seconds
    (r"(0\.000|…) {3,}", r"\1  "),  # more of which take up room before the next column
    (r"\b\d+\.\d s\b", "0.0 s"),
    (r'("duration": ?)\d+', r"\g<1>0"),
    (r"\b\d+ ms\b", "0 ms"),
    (r"\d{8}T\d{6}\.\d{3}Z", "19700101T000000.000Z"),
    (r"\d{4}-\d\d-\d\dT[\d:.]+Z", "1970-01-01T00:00:00.000Z"),
]
DEVICE_LINE = re.compile(r"(\d+-[\d.]+ \w+): ")
THROUGH_DOWNLOADER = r"""
vrelhost() {
    case " $* " in
    *' --exe '* | *' --dry-run '*) ;;
    *' run '*) set -- "$@" --exe ruxFwDownloader ;;
    esac
    command vrelhost "$@"
}
"""


def text_of(page):
    if page.endswith(".1"):
        rendered = subprocess.run(["mandoc", "-T", "utf8", page], check=True, text=True, encoding="utf-8",
                                  stdout=subprocess.PIPE).stdout
        return re.sub(".\b", "", rendered)  # struck over, for bold and underlined letters
    with open(page, encoding="utf-8") as file:
        return file.read()


def examples(text):
    """Line number, command, expected lines, and the command line below, of each example."""
    found = []
    depth = None
    for number, line in enumerate(text.splitlines(), 1):
        command = re.match(r"( +)\$ (.*)", line)
        if command:
            depth = command[1]
            found.append((number, [command[2]], [], []))
        elif depth and (line.startswith(depth) or not line):
            _, commands, expected, _ = found[-1]
            (commands if commands[-1].endswith("\\") else expected).append(line[len(depth):])
        else:
            depth = None
            below = found[-1][3] if found else []
            if line.startswith("    ruxFwDownloader ") or below and below[-1].endswith("\\"):
                below.append(line)
    return [(number, "\n".join(commands), "\n".join(expected).rstrip("\n").split("\n"), shlex.split(" ".join(below).replace("\\ ", ""))[1:])
            for number, commands, expected, below in found]


def foreign_code(text):
    """Blocks of code that no source has."""
    def stripped(code):
        return "\n".join(line.strip() for line in code.splitlines())
    root = pathlib.Path(HERE).parent.parent
    sources = [stripped(path.read_text(encoding="utf-8"))
               for folder in ("examples", "tools") for path in (root / folder).rglob("*.[cp]*")
               if path.suffix in (".cpp", ".py")]
    return [block for block in re.findall(r"^```(?:cpp|python)\n(.*?)^```", text, re.M | re.S)
            if not any(stripped(block) in source for source in sources)]


def run(command, shell):
    """What a command prints in the page's one shell, log lines included."""
    mark = "end of the example"
    shell.stdin.write(f"{{ {command}\n}} 2>&1; printf '\\n%s %s\\n' '{mark}' $?\n")
    shell.stdin.flush()
    lines = []
    for line in shell.stdout:
        if line.startswith(mark):
            break
        lines.append(line.rstrip("\n"))
    else:
        sys.exit(77 if shell.wait() == 77 else f"The shell ended at: {command}")
    code = int(line.split()[-1])
    text = "\n".join(lines).rstrip("\n") + (f"\n(exit code {code})" if code else "")
    return text.lstrip("\n").split("\n")


def comparable(lines):
    """Without what may differ: times, and the order of lines of different devices."""
    plain = []
    for line in lines:
        for pattern, replacement in TIMES:
            line = re.sub(pattern, replacement, line)
        plain.append(line.rstrip())
    device_lines = iter(sorted((line for line in plain if DEVICE_LINE.match(line)),
                               key=lambda line: DEVICE_LINE.match(line)[1]))
    return [next(device_lines) if DEVICE_LINE.match(line) else line for line in plain]


def matches(expected, actual):
    if expected == [""]:
        return not actual[-1].startswith("(exit code")
    want, got = ("\n".join(comparable(lines)) + "\n" for lines in (expected, actual))
    return doctest.OutputChecker().check_output(want.replace("…", "..."), got, doctest.ELLIPSIS)


def main():
    arguments = sys.argv[1:]
    through_downloader = arguments[0] == "--exe"
    page, tools = arguments[through_downloader:]
    tools = os.path.abspath(tools)
    text = text_of(page)
    found = examples(text)
    if not found:
        sys.exit(f"{page} has no example")
    for block in foreign_code(text):
        sys.exit(f"{page} shows code that no source has:\n{block}")
    unshown = {"warning: Process ended with exit code 1"} if through_downloader else {}
    failures = 0
    with tempfile.TemporaryDirectory() as directory:
        environment = dict(os.environ, PATH=f"{tools}:{HERE}:{os.environ['PATH']}", VREL_RIG=f"{directory}/rig")
        with subprocess.Popen(["bash"], cwd=directory, env=environment, text=True, encoding="utf-8", stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE) as shell:
            if through_downloader:
                run(THROUGH_DOWNLOADER, shell)
            for number, command, expected, below in found:
                pairs = [(expected, [line for line in run(command, shell) if line not in unshown])]
                if below:
                    line = json.dumps(below, separators=(",", ":"))
                    pairs.append(([line], run(command + " --dry-run 2>/dev/null", shell)))
                for shown, printed in pairs:
                    if not matches(shown, printed):
                        failures += 1
                        print(f"{page}:{number}: $ {command}", *difflib.unified_diff(shown, printed, "shown", "printed",
                                                                                     lineterm=""), sep="\n")
            shell.stdin.close()
    print(f"{page}: {len(found)} examples, {failures} failed")
    sys.exit(failures != 0)


main()
