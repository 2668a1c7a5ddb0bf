#!/usr/bin/env python3
"""Completion as the shells do it: each is started with the file that it would find, and asked what may follow."""
import os
import pathlib
import pty
import select
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

PROGRAMS = pathlib.Path(sys.argv.pop())
OUT = pathlib.Path(sys.argv.pop()).resolve()
SECONDS = 60
BASH_COMPLETION = pathlib.Path("/usr/share/bash-completion/bash_completion")

# What is typed, what is offered, what is not.
CASES = [
    ("mivo thu", {"thumbnail"}, {"tag", "--help"}),
    ("mivo ", {"describe", "quit", "help"}, {"song.mp3"}),
    ("mivo help de", {"describe"}, {"dump"}),
    ("mivo encode --bit", {"--bitrate"}, {"--mode"}),
    ("mivo encode --mode ", {"mono", "stereo", "joint"}, {"song.mp3"}),
    ("mivo encode --quality b", {"best"}, {"fast"}),
    ("mivo thumbnail --protocol ", {"kitty", "iterm", "sixel"}, set()),
    ("mivo tag --clear al", {"album", "album-artist"}, {"artist"}),
    ("mivo tag --remove co", {"comment", "composer", "cover"}, {"disc"}),
    ("mivo copy", {"copy-tags"}, {"convert"}),
    ("mivo rename --p", {"--portable"}, {"--to"}),
    ("mivo encode --co", {"--cores"}, {"--mode"}),
    ("mivo encode --mi", {"--mirror"}, {"--mode"}),
    ("mivo tag s", {"song.mp3"}, {"sheet"}),
    ("mivo describe s", {"song.mp3", "sound.flac"}, {"page.html"}),
    ("mivo encode --to f", {"folder/"}, {"face.png"}),
    ("mivo status s", set(), {"song.mp3"}),
    ("mivo-mediad --log-level ", {"warning", "debug"}, {"song.mp3"}),
    ("mivo-mediad --id", {"--idle-exit"}, {"--help"}),
    ("mivo-thumbnailer --s", {"--size"}, {"--help"}),
    ("mivo-thumbnailer s", {"song.mp3"}, {"page.html"}),
]


def made(shell, name):
    return next(OUT.glob(f"*/{shell}/{name}"))


class Shell(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        (self.folder / "work/folder").mkdir(parents=True)
        for name in ("song.mp3", "sound.flac", "page.html", "face.png"):
            (self.folder / "work" / name).touch()
        self.environment = {"PATH": f"{PROGRAMS}:{os.environ['PATH']}", "HOME": str(self.folder), "LC_ALL": "C.UTF-8",
                            "TERM": "dumb", "XDG_CONFIG_HOME": str(self.folder), "XDG_DATA_HOME": str(self.folder)}

    def run_shell(self, *words):
        answer = subprocess.run(words, cwd=self.folder / "work", env=self.environment, capture_output=True, text=True,
                                stdin=subprocess.DEVNULL, timeout=SECONDS)
        self.assertEqual(answer.stderr, "")
        return answer.stdout.splitlines()


class Bash(Shell):
    @unittest.skipUnless(shutil.which("bash") and BASH_COMPLETION.exists(), "bash-completion is not installed")
    def test_offers(self):
        for line, offered, others in CASES:
            found = self.offers(line)
            self.assertLessEqual(offered, found, line)
            self.assertFalse(found & others, line)

    @unittest.skipUnless(shutil.which("bash") and BASH_COMPLETION.exists(), "bash-completion is not installed")
    def test_names_count(self):
        self.assertEqual(self.offers("mivo sheet "), {"folder/"})
        self.assertEqual(self.offers("mivo sheet folder p"), {"page.html"})
        self.assertEqual(self.offers("mivo sheet --title x folder p"), {"page.html"})
        self.assertEqual(self.offers("mivo encode --mode=j"), {"joint"})

    def offers(self, line):
        """By the function that bash would call, found as bash finds it."""
        program = line.split(" ")[0]
        self.folder.joinpath("bash-completion/completions").mkdir(parents=True, exist_ok=True)
        shutil.copy(made("bash", program), self.folder / "bash-completion/completions")
        script = f"""
            compopt() {{ :; }}
            . {BASH_COMPLETION}
            __load_completion {program}
            COMP_LINE={line!r}; COMP_POINT=${{#COMP_LINE}}
            COMP_WORDS=({' '.join(self.as_bash_parts(line.split(' ')))}); COMP_CWORD=$((${{#COMP_WORDS[@]}} - 1))
            _{program} {program} "${{COMP_WORDS[COMP_CWORD]}}" "${{COMP_WORDS[COMP_CWORD - 1]}}"
            for reply in "${{COMPREPLY[@]}}"; do [[ -d $reply ]] && reply+=/; echo "$reply"; done"""
        return set(self.run_shell("bash", "--norc", "-O", "extglob", "-c", script))

    @staticmethod
    def as_bash_parts(words):
        """bash parts words at an equals sign."""
        for word in words:
            name, sign, value = word.partition("=")
            yield f"'{name}'"
            if sign:
                yield "'='"
                yield f"'{value}'"


class Fish(Shell):
    @unittest.skipUnless(shutil.which("fish"), "fish is not installed")
    def test_offers(self):
        for line, offered, others in CASES:
            file = made("fish", line.split(" ")[0] + ".fish")
            rows = self.run_shell("fish", "--no-config", "-c", f"source {file}; complete -C {line!r}")
            found = {row.split("\t")[0] for row in rows}
            self.assertLessEqual(offered, found, line)
            self.assertFalse(found & others, line)


# zsh completes in its line editor alone: a key is bound to what prints the words that are offered.
ZSH_OFFERS = """
PS1= PS2= RPS1=
unsetopt zle_bracketed_paste prompt_cr prompt_sp 2>/dev/null
stty -echo
fpath=(%s $fpath)
autoload -Uz compinit && compinit -u -D
compadd() {
    local -a hits
    builtin compadd -A hits "$@" 2>/dev/null
    local hit
    for hit in "${hits[@]}"; do [[ -d $hit ]] && hit+=/; print -r -- "offer:$hit"; done
    builtin compadd "$@"
}
offers() { zle complete-word; BUFFER=; print -r -- "offers:end"; zle redisplay }
zle -C complete-word complete-word _main_complete
zle -N offers
bindkey '^T' offers
zstyle ':completion:*' list-prompt ''
unsetopt list_beep auto_list auto_menu
print -r -- "ready:now"
"""


class Zsh(Shell):
    @unittest.skipUnless(shutil.which("zsh"), "zsh is not installed")
    def test_offers(self):
        self.start()
        for line, offered, others in CASES:
            found = self.offers(line)
            self.assertLessEqual(offered, found, line)
            self.assertFalse(found & others, line)
        self.assertEqual(self.offers("mivo sheet "), {"folder/"})
        self.assertLessEqual({"page.html"}, self.offers("mivo sheet folder p"))
        self.assertEqual(self.offers("mivo encode --mode=j"), {"joint"})

    def start(self):
        process, self.terminal = pty.fork()
        if process == 0:
            os.chdir(self.folder / "work")
            os.execvpe("zsh", ["zsh", "-f", "-i"], self.environment)
        self.addCleanup(os.waitpid, process, 0)
        self.addCleanup(os.kill, process, 9)
        script = self.folder / "offers.zsh"
        script.write_text(ZSH_OFFERS % " ".join(str(path) for path in OUT.glob("*/zsh")))
        os.write(self.terminal, f" . {script}\n".encode())
        self.read_until("ready:now")

    def read_until(self, mark):
        text = ""
        end = time.monotonic() + SECONDS
        while mark not in text:
            self.assertTrue(select.select([self.terminal], [], [], max(0, end - time.monotonic()))[0], text)
            text += os.read(self.terminal, 4096).decode(errors="replace")
        return text

    def offers(self, line):
        os.write(self.terminal, line.encode() + b"\x14")
        text = self.read_until("offers:end")
        rows = [row.strip() for row in text.replace("\r", "\n").split("\n")]
        return {row.split("offer:")[1] for row in rows if "offer:" in row}


if __name__ == "__main__":
    unittest.main()
