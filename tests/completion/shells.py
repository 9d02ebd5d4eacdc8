"""The shells that have a completion, each set up as an installation sets it up."""

import os
import re
import shutil
import tempfile

from terminal import Terminal

BASH_COMPLETION = "/usr/share/bash-completion/bash_completion"


class Shell:
    """One shell that runs, below a scratch directory. `halyx` and `halyx-writer` are functions in it that write down the
    arguments that they were given, so that what the shell made of a completed line can be seen."""

    # What makes NAME such a function; RECORD is where it writes.
    RECORDER = "%s() { printf '%%s\\0' \"$@\" >$RECORD.new; mv $RECORD.new $RECORD; }\n"
    LIST = "\t"

    def __init__(self, prefix, programs, root):
        self.scratch = tempfile.mkdtemp(prefix="halyx-completion-")
        self.directory = os.path.join(self.scratch, "here")
        os.mkdir(self.directory)
        self.mark = os.path.join(self.scratch, "mark")
        self.prefix = prefix
        environment = {
            "PATH": programs + ":" + os.environ["PATH"],
            "HOME": self.scratch,
            "LC_ALL": "C.UTF-8",
            "TERM": "xterm",
            "RECORD": self.mark,
            "Q7_CHROOT": root,
        }
        for name in ("ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS"):
            if name in os.environ:
                environment[name] = os.environ[name]
        self.terminal = None
        try:
            self.terminal = Terminal(self.command(environment), environment, self.directory)
            self.wait_until_ready()
        except BaseException:
            self.close()
            raise

    def write(self, name, text):
        path = os.path.join(self.scratch, name)
        with open(path, "w") as file:
            file.write(text)
        return path

    def recorders(self):
        return "".join(self.RECORDER % name for name in ("halyx", "halyx-writer"))

    def wait_until_ready(self):
        """Until a line can be typed, which each shell says by a file: a prompt may be drawn more than once."""
        self.terminal.wait_for(lambda text: os.path.exists(self.mark + ".ready"), "a new line")
        os.unlink(self.mark + ".ready")

    def run(self, keys):
        """Types the keys and Return; the arguments that the program was given."""
        self.terminal.quiet(0)
        self.terminal.forget()
        self.terminal.send(keys)
        self.terminal.send("\r")
        self.terminal.wait_for(lambda text: os.path.exists(self.mark), "what %s ran" % ascii(keys))
        with open(self.mark, "rb") as file:
            arguments = file.read().split(b"\0")[:-1]
        os.unlink(self.mark)
        self.wait_until_ready()
        return [os.fsdecode(argument) for argument in arguments]

    def listed(self, keys, wanted):
        """Types the keys and asks for the candidates, until all the wanted texts are listed; what was listed."""
        self.terminal.quiet(0)
        self.terminal.forget()
        self.terminal.send(keys)
        self.terminal.send(self.LIST)
        text = self.terminal.wait_for(lambda text: all(part in text for part in wanted), "%s after %s" % (wanted, ascii(keys)))
        self.give_up()
        return re.sub("\x1b\\[[0-9;?]*[a-zA-Z]", " ", text)

    def give_up(self):
        self.terminal.quiet(0)
        self.terminal.forget()
        # Ctrl-U and Return. An interrupt could end a list that is still being drawn instead of the line.
        self.terminal.send("\x15\r")
        self.wait_until_ready()

    def close(self):
        if self.terminal:
            self.terminal.close()
        shutil.rmtree(self.scratch, ignore_errors=True)


class Bash(Shell):
    LIST = "\t\t"

    def command(self, environment):
        rc = self.write("bashrc", "set -o errexit\n" + self.loading() + "set +o errexit\n" + self.recorders()
                        + "bind 'set bell-style none'\nbind 'set completion-query-items 0'\nbind 'set page-completions off'\n"
                        + "bind 'set enable-bracketed-paste off'\nPROMPT_COMMAND=': >$RECORD.ready'\n")
        return ["bash", "--noprofile", "--rcfile", rc, "-i"]

    def loading(self):
        folder = os.path.join(self.prefix, "share/bash-completion/completions")
        return "source '%s/halyx'\nsource '%s/halyx-writer'\n" % (folder, folder)


class BashWithPackage(Bash):
    """Nothing is sourced but the package, which looks for a command's file when it is completed for the first time."""

    def loading(self):
        return "set +o errexit\nBASH_COMPLETION_USER_DIR='%s/share/bash-completion'\nsource %s\n" % (self.prefix, BASH_COMPLETION)


class Zsh(Shell):
    def command(self, environment):
        environment["ZDOTDIR"] = self.scratch
        self.write(".zshrc", "fpath=('%s/share/zsh/site-functions' $fpath)\nautoload -Uz compinit\ncompinit -u -D\n" % self.prefix
                   + "unsetopt beep promptcr promptsp\nunset zle_bracketed_paste\nLISTMAX=100000\n"
                   + self.recorders() + "zle-line-init() { : >$RECORD.ready; }\nzle -N zle-line-init\n")
        return ["zsh", "-d", "-i"]


class Fish(Shell):
    RECORDER = "function %s; printf '%%s\\0' $argv >$RECORD.new; mv $RECORD.new $RECORD; end\n"

    def command(self, environment):
        environment["XDG_CONFIG_HOME"] = environment["XDG_DATA_HOME"] = self.scratch
        os.makedirs(os.path.join(self.scratch, "fish"))
        self.write("fish/config.fish", "set fish_complete_path '%s/share/fish/vendor_completions.d'\n" % self.prefix
                   + "set fish_greeting\nset fish_autosuggestion_enabled 0\n" + self.recorders()
                   + "function ready --on-event fish_prompt; : >$RECORD.ready; end\n")
        return ["fish", "-i"]

    def listed(self, keys, wanted):
        """As fish lists them when it is asked: on the screen they are cut into pieces by colours."""
        self.terminal.quiet(0)
        self.terminal.forget()
        self.terminal.send("complete -C '%s' >$RECORD.new; mv $RECORD.new $RECORD\r" % keys)
        self.terminal.wait_for(lambda text: os.path.exists(self.mark), "the candidates of " + keys)
        self.wait_until_ready()
        with open(self.mark) as file:
            text = file.read()
        os.unlink(self.mark)
        missing = [part for part in wanted if part not in text]
        if missing:
            raise AssertionError("%s: not among the candidates of '%s': %s" % (missing, keys, text))
        return text


SHELLS = {"bash": Bash, "bash-completion": BashWithPackage, "zsh": Zsh, "fish": Fish}


def missing(name):
    """Why the shell cannot be tested here; nothing when it can."""
    if name == "bash-completion" and not os.path.exists(BASH_COMPLETION):
        return "the package bash-completion is not installed"
    program = "bash" if name == "bash-completion" else name
    return "" if shutil.which(program) else "no %s here" % program
