"""Checks the schemas that vrelhost prints: that they refuse the requests and recipes that it refuses, generated ones and
those of tests, fuzzing and pages, and that all it prints has their keys, and no others.

usage: schemas.py TOOL SOURCE_DIR [NUMBER]    (of generated requests and steps; half of them are no good)
"""

import collections
import json
import os
import pathlib
import random
import re
import subprocess
import sys
import tempfile

import jsonschema

TOOL, ROOT, NUMBER = sys.argv[1], pathlib.Path(sys.argv[2]).resolve(), int((sys.argv[3:] or ["80"])[0])
random.seed(NUMBER)
faults = []
seen = collections.Counter()


def tool(*arguments, stdin=None):
    return subprocess.run([TOOL, *arguments], input=stdin, capture_output=True, encoding="utf-8", check=False)


def closed(schema):
    """The same for a reader who wants to know all keys."""
    if isinstance(schema, list):
        return [closed(part) for part in schema]
    if not isinstance(schema, dict):
        return schema
    parts = {key: closed(part) for key, part in schema.items()}
    return {"additionalProperties": False, **parts} if isinstance(schema.get("properties"), dict) and "type" in schema else parts


def keys_in(value, key=None):
    """The keys of the properties in a schema, or of all objects in a document."""
    if isinstance(value, list):
        return set().union(*(keys_in(part, key) for part in value))
    if not isinstance(value, dict):
        return set()
    own = set(value.get(key, {}) if key else value)
    return own.union(*(keys_in(part, key) for part in value.values()))


SCHEMAS = {name: json.loads(tool("schema", name).stdout) for name in ("request", "recipe", "results", "log", "ledger")}
TYPES = json.loads(tool("types").stdout)
ERASE = {"command": "erasetoken", "fw_rux": "f", "slot": 255}
CLEAR = {"command": "clearrpmb", "fw_rux": "f", "device": "{kind}", "idx": 255}
START = {"command": "startover", "flags": 2**32 - 1}
EDGES = [ERASE, {**ERASE, "slot": 256}, {**ERASE, "slot": "{n}"}, {**ERASE, "slot": "{{n}}"}, {**ERASE, "fw_rux": "f\0"},
         CLEAR, {**CLEAR, "idx": 256}, {**CLEAR, "device": "EMMC"}, START, {**START, "flags": 2**32}, {**START, "flags": -1},
         {"wait": 86400}, {"wait": 86401}, {"wait": 1}, {"wait": 0}, {"wait": 1, "for": "restart"}, {"wait": 1, "for": "ever"},
         {"exec": ["true", "\0"]}, {"exec": ["", "f"]}, {"exec": []}, {"exec": ["true", ""], "timeout": 0}]
for each in SCHEMAS.values():
    jsonschema.Draft202012Validator.check_schema(each)
JUDGES = {name: jsonschema.Draft202012Validator(closed(each) if name in ("results", "log", "ledger") else each)
          for name, each in SCHEMAS.items()}


def judge(document):
    """Whether the schema takes a request or a recipe."""
    return JUDGES["recipe" if isinstance(document, list) else "request"].is_valid(document)


def is_taken(text):
    """The tool's verdict; nothing when it depends on files or devices."""
    run = tool("run", "-", "--dry-run", "--sn", "7", "--ledger", "ledger.db", stdin=text)
    if run.returncode not in (0, 2):
        faults.append(f"{text}: {run.stderr}")
    depends = run.returncode == 2 and re.search("names the file|not a regular file|contains {path}", run.stderr)
    return None if depends else run.returncode == 0


def compare(document, verdict, origin):
    seen[origin, verdict] += 1
    if verdict is not None and judge(document) != verdict:
        faults.append(f"{origin}: the schema {'refuses' if verdict else 'takes'} {json.dumps(document)}")


def compare_with_tests():
    """A command's cases, and the seeds of the fuzz targets."""
    commands = list((ROOT / "tests/commands").glob("*.txt"))
    registered = {path.stem for path in commands if "\narguments " in path.read_text(encoding="utf-8")}
    if registered != set(TYPES):
        faults.append(f"vrelhost types lists {sorted(TYPES)} instead of {sorted(registered)}")
    for path in commands:
        cases = re.findall(r"^request (.*(?:\n    .*)*)((?:\n(?!request ).*)*)", path.read_text(encoding="utf-8"), re.M)
        for text, more in cases if path.stem in TYPES else ():
            request = json.loads(text)
            compare(request, "\nrejected" not in more and set(request) <= {"command", *TYPES[path.stem]}, "tests")
    for path in (ROOT / "tests/fuzz/corpus").glob("re[cq]*/*"):
        try:
            compare(json.loads(path.read_text(encoding="utf-8")), is_taken(path.read_text(encoding="utf-8")), "seeds")
        except ValueError:
            pass  # no JSON


def compare_with_pages():
    for path in [ROOT / "README.md", *ROOT.glob("docs/*.md"), *ROOT.glob("examples/*/README.md")]:
        for example in re.findall(r"^    \$ .*(?:\n    (?!\$ ).*)*", path.read_text(encoding="utf-8"), re.M):
            for text in re.findall(r"'([\[{].*?[\]}])'", example) if "(exit code 2)" not in example else ():
                try:
                    compare(json.loads(text), True, "pages")
                except ValueError:
                    pass  # of a shell


NAMES = ["f", "1", "{n}", "{serial}", "{{n}}", "{n}1", "{none}"]
VALUES = [*NAMES, "", "a\0", None, True, -1, -0.0, 0, 1, 2.0, 1.5, 255, 256, 86400, 86401, 2**32 - 1, 2**32, 1e300, [], ["f"], {}, "restart"]

def good_value(kind):
    if isinstance(kind, list):
        return random.choice([*kind, "{kind}"])
    return random.choice(NAMES if "file" in kind else ["{n}", "{serial}", 0, 1, 2.0, 255])


def good(number):
    """A request or another step."""
    if random.random() < 0.3:
        table = f"table{number}.csv"
        key, first = random.choice([("look-up", "serial"), ("take", f"a{number}")])
        pathlib.Path(table).write_text(f"{first},c{number}\n7,0\n", encoding="utf-8")
        return random.choice([{"wait": 1}, {"wait": 86400, "for": "restart"}, {"exec": ["true"]}, {key: table},
                              {"exec": ["true", "", "{n}"], "timeout": 9}, {"exec": ["true", "{none}"]}])
    command, types = random.choice(list(TYPES.items()))
    return {"command": command, **{key: good_value(kind) for key, kind in types.items() if key != "command"}}


def spoil(step):
    key = random.choice([*step, *step, "x", "command", "flags", "timeout", "exec"])
    if random.random() < 0.3 and key in step:
        del step[key]
    else:
        step[key] = random.choice(VALUES + [["true", value] for value in VALUES] + [[value] for value in ("", "a\0", 5)])


def depends_on_tables(step):
    """Only the tool knows which tables and columns there are, and what they hold."""
    types = TYPES.get(step.get("command"), {}) if isinstance(step.get("command"), str) else {}
    foreign = {key: {"{n}", "{serial}", "{none}"} if isinstance(kind, list) else {"{kind}", "{none}"}
               for key, kind in types.items() if "file" not in kind}
    tables = [step[key] for key in ("take", "look-up") if isinstance(step.get(key), str)]
    return (any(isinstance(step.get(key), str) and step[key] in names for key, names in foreign.items()) or
            any(table and "\0" not in table and not table.startswith("table") for table in tables))


def compare_with_generated():
    for name in (*NAMES, "3", "31", "7", "restart"):
        pathlib.Path(name.replace("{{", "{").replace("}}", "}")).touch()
    pathlib.Path("rows.csv").write_text("serial,n,kind\n7,3,emmc\n", encoding="utf-8")
    rows = {"look-up": "rows.csv"}
    taken = []
    steps = [*EDGES, *(good(number) for number in range(NUMBER))]
    for number, step in enumerate(steps, -len(EDGES)):
        for _ in range(random.choice((0, 0, 1, 1, 2)) if number >= 0 else 0):
            spoil(step)
        if depends_on_tables(step):
            continue
        if number >= 0 and number % 2:
            compare(step, is_taken(json.dumps(step)), "requests")
        elif judge([step]):
            taken.append(step)
        else:
            compare([step], is_taken(json.dumps([rows, step])), "steps")
    seen["steps", True] = len(taken)
    run = tool("run", "-", "--dry-run", "--sn", "7", "--ledger", "ledger.db", stdin=json.dumps([rows, *taken]))
    if run.returncode:
        faults.append(f"steps: {run.stderr} Of {json.dumps([rows, *taken])}")


def check_outputs():
    """Runs that show every key."""
    pathlib.Path("module.bin").write_bytes(bytes(130) + b"\2\1" + bytes(4000))
    pathlib.Path("token.bin").write_bytes(bytes(300))
    write = {"command": "writetoken", "fw_rux": "module.bin", "token": "token.bin", "slot": 1}
    recipe = json.dumps([write, {"command": "erasetoken", "fw_rux": "module.bin", "slot": 2}, {"wait": 1}])
    identify = json.dumps({"command": "gettokenpid", "fw_rux": "module.bin"})
    outputs = collections.defaultdict(list)

    def read(name, text):
        outputs[name] += [json.loads(line) for line in text.splitlines()]

    for options in (["run", recipe, "--all", "--log-dir", "logs"], ["run", identify, "--all"], ["run", identify, "--all"],
                    ["station", json.dumps(write), "--stop-after", "2"]):
        run = tool("--log-format", "json", "--log-level", "5", *options, "--json", "--ledger", "output.db")
        read("results", run.stdout)
        read("log", run.stderr)
    for path in pathlib.Path("logs").iterdir():
        read("log", path.read_text(encoding="utf-8"))
    for action in ("boards", "services", "summary"):
        read("ledger", tool("ledger", action, "output.db", "--json").stdout)
    read("ledger", tool("ledger", "show", "output.db", "0A1B2C3D", "--json").stdout)
    for name, documents in outputs.items():
        for document in documents:
            faults.extend(f"{name}: {error.message} in {json.dumps(document)}" for error in JUDGES[name].iter_errors(document))
        keys = keys_in(SCHEMAS[name], "properties")
        if keys != keys_in(documents):
            faults.append(f"{name}: no run shows the keys {keys - keys_in(documents)}")


with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    os.environ["VREL_RIG"] = "rig"
    compare_with_tests()
    compare_with_pages()
    compare_with_generated()
    check_outputs()
print(dict(seen))
for origin in ("tests", "requests", "steps"):
    if not (seen[origin, True] and seen[origin, False]):
        faults.append(f"too little was compared: {origin}")
print("\n".join(faults[:20]))
sys.exit(bool(faults) or not seen["pages", True] or not seen["seeds", False])
