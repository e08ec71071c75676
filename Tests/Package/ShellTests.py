"""Completes words in real shells and reads the manual page: ShellTests.py FOLDER, with what make-shell-files.py made."""
import os
import pathlib
import pty
import re
import select
import shutil
import subprocess
import sys
import time
import unittest

FOLDER = pathlib.Path(sys.argv[1]).resolve()
MARK = "GOT:"


class Shell:
    """A shell at a terminal, in which kalvatri is a function that prints its arguments."""

    def __init__(self, command, setup):
        self.child, self.terminal = pty.fork()
        if self.child == 0:
            os.environ.update(TERM="dumb", PS1="$ ", LC_ALL="C.UTF-8")
            os.execvp(command[0], command)
        self.type("kalvatri() { printf '%s' GO T: ; printf '<%s>' \"$@\"; echo :END; }\n" + setup + "\necho REA''DY\n")
        self.read_until("READY")

    def type(self, text):
        os.write(self.terminal, text.encode())

    def read_until(self, end):
        text, limit = "", time.monotonic() + 60
        while end not in text:
            if time.monotonic() > limit or not select.select([self.terminal], [], [], 60)[0]:
                raise AssertionError("waited for %r after %r" % (end, text))
            text += os.read(self.terminal, 65536).decode(errors="replace")
        return text

    def complete(self, typed):
        """The arguments after the tabs in `typed` have been worked on."""
        for part in re.split("(\t)", typed):
            self.type(part)
            time.sleep(0.3 if part == "\t" else 0)  # typed ahead, a tab would be taken for pasted text by some shells
        self.type("\n")
        text = self.read_until(":END")
        return re.findall("<([^>]*)>", text[text.rindex(MARK):])

    def close(self):
        os.close(self.terminal)
        os.waitpid(self.child, 0)


# What is typed, and the arguments that come of it.
CASES = [
    ("kalvatri app\t", ["apply"]),
    ("kalvatri apply --qual\t90", ["apply", "--quality", "90"]),
    ("kalvatri apply -i a -o b BlurBok\timageG\t4", ["apply", "-i", "a", "-o", "b", "BlurBokeh", "imageGain=4"]),
    ("kalvatri apply BlurBokeh aperture.sh\the\t", ["apply", "BlurBokeh", "aperture.shape=heart"]),
    ("kalvatri apply BlurBokeh Vignette imageG\t", ["apply", "BlurBokeh", "Vignette", "imageG"]),
    ("kalvatri batch -o out in -- WhiteBal\tcol\t#fff", ["batch", "-o", "out", "in", "--", "WhiteBalance", "color=#fff"]),
    ("kalvatri describe Pixela\t", ["describe", "Pixelate"]),
]


class Completion(unittest.TestCase):
    def check(self, shell):
        self.addCleanup(shell.close)
        for typed, wanted in CASES:
            with self.subTest(typed):
                self.assertEqual(shell.complete(typed), wanted)

    def test_bash(self):
        self.check(Shell(["bash", "--norc", "--noprofile", "-i"],
                         "source /usr/share/bash-completion/bash_completion; source %s/kalvatri.bash" % FOLDER))

    @unittest.skipUnless(shutil.which("zsh"), "there is no zsh")
    def test_zsh(self):
        self.check(Shell(["zsh", "-f", "-i"], "PS1='$ '; unsetopt zle_bracketed_paste; fpath=(%s $fpath); "
                         "autoload -U compinit; compinit -u -D" % FOLDER))

    @unittest.skipUnless(shutil.which("fish"), "there is no fish")
    def test_fish(self):
        for line, wanted in [("kalvatri apply BlurBokeh imageG", "imageGain="), ("kalvatri app", "apply"),
                             ("kalvatri apply BlurBokeh aperture.shape=h", "aperture.shape=heart"),
                             ("kalvatri apply --qual", "--quality"), ("kalvatri describe Pixela", "Pixelate"),
                             ("kalvatri batch -o out in -- WhiteBalance col", "color=")]:
            offered = subprocess.run(["fish", "--no-config", "-c", "source %s/kalvatri.fish; complete -C '%s'" %
                                      (FOLDER, line)], capture_output=True, text=True, check=True).stdout
            self.assertIn(wanted, [entry.split("\t")[0] for entry in offered.splitlines()], line)

    @unittest.skipUnless(shutil.which("man"), "there is no man")
    def test_the_manual_page_is_well_formed(self):
        page = subprocess.run(["man", "--warnings=w", "-l", str(FOLDER / "kalvatri.1")], capture_output=True, text=True,
                              env={**os.environ, "LC_ALL": "C.UTF-8", "MANWIDTH": "100"})
        self.assertEqual(page.stderr, "")
        for word in ("imageGain", "--raw-brightness", "Vignette", "kalvatri batch -o"):
            self.assertTrue(word in page.stdout, word)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[2:])
