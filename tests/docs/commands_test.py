"""Runs every command of a document, in its order and in one folder, and compares what it prints.

A block of "sh" or "python" must end well, and print what the block of "text" shows that follows it at once, if there
is one. Python needs the folder of the package; without it those blocks are left out.
Usage: commands_test.py DOCUMENT VQF SIMULATE [PYTHON-FOLDER]
"""
import difflib
import os
import re
import subprocess
import sys
import tempfile

# The system's own Python has the packages of the system.
PYTHON = "/usr/bin/python3" if os.path.exists("/usr/bin/python3") else sys.executable
BLOCK = re.compile(r"^```(sh|python)\n(.*?)^```\n(?:```text\n(.*?)^```\n)?", re.MULTILINE | re.DOTALL)


def run(language, script, folder, vqf, packages=""):
    environment = dict(os.environ, PATH=os.path.dirname(vqf) + ":" + os.environ["PATH"], NO_COLOR="1",
                       PYTHONPATH=packages)
    program = ["sh", "-e"] if language == "sh" else [PYTHON, "-"]
    return subprocess.run(program, input=script, cwd=folder, env=environment, text=True, capture_output=True)


def main():
    document, vqf, simulate = sys.argv[1:4]
    packages = "".join(sys.argv[4:])
    found = BLOCK.findall(open(document, encoding="utf-8").read())
    found = [block for block in found if packages or block[0] == "sh"]
    if not found:
        sys.exit(f"{document}: no commands")
    failures = 0
    with tempfile.TemporaryDirectory() as folder:
        ready = run("sh", f"'{simulate}' m.vqf 12 && vqf export m.vqf -o beads.tif && rm m.vqf", folder, vqf)
        if ready.returncode != 0:
            sys.exit(f"no stack to begin with: {ready.stderr}")
        for language, script, expected in found:
            ended = run(language, script, folder, vqf, packages)
            if ended.returncode != 0 or (expected and ended.stdout != expected):
                failures += 1
                print(f"{script}ended with {ended.returncode}\n{ended.stderr}")
                print("\n".join(difflib.unified_diff(expected.splitlines(), ended.stdout.splitlines(),
                                                     "as told", "as printed", lineterm="")))
    print(f"{len(found)} blocks of commands, {failures} wrong")
    sys.exit(failures > 0)


if __name__ == "__main__":
    main()
