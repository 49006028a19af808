"""What the docs and the completions say, against the programs."""

import glob
import json
import os
import pathlib
import pty
import re
import subprocess

from daemon import (BIN, CONF, LOG, SOCKET, TMP, Case, Client, Daemon, ask, choose, configure, poll,
                    quillonctl)

os.chdir(os.path.join(os.path.dirname(os.path.abspath(__file__)), ".."))
os.environ["PATH"] = f"{BIN}:{os.environ['PATH']}"
URLS = ["https://one.example.org", "https://two.example.org"]
HELP = quillonctl("--help").stdout
COMMANDS = re.findall(r"^  ([a-z]+) ", HELP.split("Options:")[0], re.M)
BASH = """. completion/quillonctl.bash; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1))
_quillonctl quillonctl "${@: -1}" "${@: -2:1}"; printf '%s\\n' "${COMPREPLY[@]}\""""
# Completes at a terminal only; what it offers goes to a file.
ZSH = """fpath=($PWD/completion $fpath); autoload -Uz compinit; compinit -u -C -d $TMPDIR/dump
compadd() {
    local -a hits
    [[ " ${(j: :)@[1,(i)(-|--)]}" == *" -"[OAD]* ]] || builtin compadd -A hits "$@"
    print -rl -- $hits >>$TMPDIR/hits; builtin compadd "$@"
}
tell() { _main_complete; print end >>$TMPDIR/hits }
zle -C tell list-choices tell; bindkey '^X' tell
"""


def text(pattern):
    return "".join(pathlib.Path(path).read_text("utf-8") for path in glob.glob(pattern))


def run(*command, status=0, **options):
    done = subprocess.run(command, capture_output=True, text=True, check=False, **options)
    assert (done.returncode, done.stderr) == (status, ""), done
    return done.stdout


def bash(line):
    return run("bash", "--norc", "-c", BASH, "bash", *line.split(" "))


def fish(line):
    return run("fish", "-N", "-c", f"source completion/quillonctl.fish; complete -C '{line}'")


def zsh(line):
    pathlib.Path(f"{TMP}/.zshrc").write_text(ZSH, "utf-8")
    pathlib.Path(f"{TMP}/hits").write_text("", "utf-8")
    ours, its = pty.openpty()
    with subprocess.Popen(["zsh", "-di"], stdin=its, stdout=its, stderr=its, start_new_session=True,
                          env=os.environ | {"ZDOTDIR": TMP}) as shell:
        os.write(ours, f"{line}\x18".encode())
        poll(lambda: text(f"{TMP}/hits").endswith("end\n"))
        shell.kill()
    os.close(ours)
    os.close(its)
    return text(f"{TMP}/hits").removesuffix("end\n").replace("=", "")


def dump(client):
    """The next answer, as the page shows it."""
    data = client.read(8)
    data += client.read(int.from_bytes(data[4:], "little"))
    rows = [data[start:start + 16] for start in range(0, len(data), 16)]
    return [f"    < {row.hex(' '):47}  {re.sub('[^ -~]', '.', row.decode('latin'))}" for row in rows]


class Docs(Case):
    def test_pages(self):
        client, file, daemon = (text(f"doc/man/*.{section}") for section in (1, 5, 8))
        configure({"defaultUrl": URLS})
        with Daemon():
            ask(choose(0))  # which writes every member
        members = set(json.loads(text(CONF)))
        rows = (
            (members, set(re.findall(r"^\.It Ic (\w+)", file, re.M))),
            (members, set(re.findall(r"^(\w+)  ", text("doc/examples/README"), re.M))),
            (members, {"healthPath"} | set(re.findall(r"^\| `(\w+)` \|", text("doc/protocol.md"), re.M))),
            (re.findall(r"^  (\d) ", HELP, re.M), re.findall(r"^\.It (\d)", client, re.M)),
        )
        for there, described in rows:
            self.assertEqual(there, described)
        for path in (CONF, LOG, SOCKET):
            self.assertIn(path, daemon)
        for test in re.findall(r"`(?:test|keeps)\w+`", text("doc/robustness.md")):
            self.assertRegex(text("tests/*"), rf"[ :]{test[1:-1]}\(")
        for word in re.findall(r"--\w+", HELP) + [f".It Cm {command}" for command in COMMANDS]:
            self.assertIn(word.replace("--", r"\-"), client)
        # In their folder, where mandoc looks for those that they refer to.
        self.assertEqual(run("mandoc", "-T", "lint", *os.listdir("doc/man"), cwd="doc/man"), "")

    def test_completion(self):
        for shell in (bash, fish, zsh):
            with self.subTest(shell.__name__):
                offered = re.findall(r"^\w+", shell("quillonctl "), re.M)
                self.assertLessEqual(set(COMMANDS), set(offered))
                for command in COMMANDS:
                    self.assertEqual(
                        set(re.findall(r"--\w+", shell(f"quillonctl {command} -"))),
                        set(re.findall(r"--\w+", quillonctl(command, "--help").stdout)))
                for line, words in (("use ", []), ("log --level w", ["warning"]), ("help ch", ["check"])):
                    self.assertEqual(re.findall(r"^\w+", shell(f"quillonctl {line}"), re.M), words)
                configure({"defaultUrl": URLS})
                with Daemon():
                    for line, indices in (("use ", ["0", "1"]), ("use --timeout 9 ", ["0", "1"]),
                                          ("use --probe 1", ["1"]), ("use 1 ", [])):
                        self.assertEqual(re.findall(r"^\d+", shell(f"quillonctl {line}"), re.M), indices)
                    if shell != zsh:  # which gets the address as a description
                        self.assertIn(URLS[1], shell("quillonctl use "))

    def test_protocol(self):
        """The bytes that its page shows, and the clients."""
        configure({"defaultUrl": URLS, "confDefaultIndex": 1})
        run("cc", "-Wall", "-Wextra", "-Werror", "-o", f"{TMP}/client", "doc/examples/client.c")
        page = text("doc/protocol.md")
        with Daemon():
            client = Client(bytes.fromhex("".join(re.findall("^    > (.{47})", page, re.M))))
            self.assertEqual(dump(client) + dump(client), re.findall("^    < .*", page, re.M))
            for command in (["doc/examples/client.py"], [f"{TMP}/client"]):
                with subprocess.Popen(command, stdout=subprocess.PIPE) as waiting:
                    client.socket.close()
                    self.assertIn(b'"type"', waiting.stdout.read())
                for index, status in ((0, 0), (1, 0), (7, 1)):
                    answers = run(*command, str(index), status=status).splitlines()
                    self.assertEqual(json.loads(answers[-1])["confDefaultIndex"], min(index, 1))
                    self.assertEqual(len(answers), 1 + status)
