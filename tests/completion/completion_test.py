"""usage: completion_test SHELL PREFIX PROGRAMS

Types lines into an interactive SHELL (bash, bash-completion for bash with that package, zsh or fish), with the completions that
are installed below PREFIX and the programs in the directory PROGRAMS, and looks at what the shell then runs. Ends with 77
when there is no such shell here.
"""

import mmap
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

import shells

# What is typed, and the name that it is completed to.
NAMES = {
    "pri": "prices",
    "nes": "nested/deeply/inside",
    "bla": "blank blank  twice",
    "dol": "dollar$(touch x1)`touch x2`${HOME}",
    "sem": "semi;touch x3 &touch x4|touch x5",
    "quo": "quotes'and\"more'\"",
    "lin": "line\nend; touch x6\n",
    "esc": "escape\x1b[31m\x07bell",
    "bac": "back\\slash\\",
    "gla": "gla*?{a,b}~#=:@%!",
    "bra": "bracket[abc]",
    "uml": "umläut",
    "col": "colon:equals=end",
    "tab": "tab\there",  # fish takes a tab for the beginning of a description
}
COMMANDS = ["attach", "churn", "create", "load", "mirror-proc"]


def expression(name):
    """What finds a collection of that name, whose [ and \\ would otherwise be taken for a pattern's."""
    return re.sub(r"([\[\\])", r"\\\1", name)


class CompletionTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
        cls.chroot = os.path.realpath(tempfile.mkdtemp(prefix="halyx-completion-", dir=memory))
        cls.root = cls.chroot + "/var/shmem/halyxes"
        for name in list(NAMES.values()) + ["-x", "no-collection/at-all"]:
            os.makedirs(os.path.join(cls.root, name))
        for name in list(NAMES.values()) + ["-x"]:
            open(os.path.join(cls.root, name, "slots"), "w").close()
        os.rmdir(os.path.join(cls.root, "no-collection/at-all"))
        # The root itself is none.
        open(os.path.join(cls.root, "slots"), "w").close()
        cls.addClassCleanup(shutil.rmtree, cls.chroot)
        cls.shell = shells.SHELLS[SHELL](PREFIX, PROGRAMS, cls.chroot)
        cls.addClassCleanup(cls.shell.close)

    def names(self):
        return {typed: name for typed, name in NAMES.items() if SHELL != "fish" or "\t" not in name}

    def help_of(self, program, *arguments):
        return subprocess.run([os.path.join(PROGRAMS, program), *arguments], stdout=subprocess.PIPE, check=True,
                              universal_newlines=True, timeout=60).stdout

    def test_a_completed_name_is_one_argument_that_finds_the_collection(self):
        for typed, name in self.names().items():
            with self.subTest(name):
                self.assertEqual(self.shell.run("halyx -p %s\t" % typed), ["-p", expression(name)])
                found = subprocess.run([os.path.join(PROGRAMS, "halyx"), expression(name)], stderr=subprocess.PIPE, timeout=60,
                                       env=dict(os.environ, Q7_CHROOT=self.chroot))
                shown = re.sub(rb"[^ -~]", lambda byte: b"\\x%02x" % byte.group()[0], os.fsencode(name))
                self.assertEqual(found.stderr, b"Error attaching to Halyx " + shown + b"\n")

    def test_names_are_completed_inside_of_quotes(self):
        for quote in "'\"":
            for typed, name in self.names().items():
                with self.subTest(quote + name):
                    self.assertEqual(self.shell.run("halyx %s%s\t" % (quote, typed)), [expression(name)])

    def test_a_name_is_completed_from_its_middle_on(self):
        self.assertEqual(self.shell.run("halyx colon:eq\t"), ["colon:equals=end"])
        self.assertEqual(self.shell.run("halyx colon\\:equals=e\t"), ["colon:equals=end"])
        self.assertEqual(self.shell.run("halyx nested/dee\t"), ["nested/deeply/inside"])
        self.assertEqual(self.shell.run("halyx bla'nk bl'\t"), ["blank blank  twice"])

    def test_the_writer_takes_names_as_they_are(self):
        for typed, name in self.names().items():
            with self.subTest(name):
                self.assertEqual(self.shell.run("halyx-writer attach --as reader %s\t" % typed), ["attach", "--as", "reader", name])

    def test_a_full_path_is_completed(self):
        self.assertEqual(self.shell.run("halyx %s/pri\t" % self.root), [self.root + "/prices"])
        self.assertEqual(self.shell.run("halyx %s/bra\t" % self.root), [self.root + "/bracket\\[abc]"])
        self.assertEqual(self.shell.run("halyx -H %s/bra\t" % self.root), ["-H", self.root + "/bracket[abc]"])

    def test_a_handle_is_of_a_collection_and_ends_the_line(self):
        self.assertEqual(self.shell.run("halyx -H bra\t"), ["-H", "bracket[abc]"])
        self.assertEqual(self.shell.run("halyx --handle=pri\t"), ["--handle=prices"])
        self.assertEqual(self.shell.run("halyx -H a pri\t"), ["-H", "a", "pri"])

    def test_a_name_that_looks_like_options_needs_two_dashes(self):
        self.assertEqual(self.shell.run("halyx -- -\t"), ["--", "-x"])
        self.assertNotIn("-x", self.shell.listed("halyx ", ["prices"]))

    def test_nothing_follows_where_no_operand_can(self):
        for line in ("-a", "--who-all", "-c 1", "-pc1", "--what=1", "-h", "--help", "prices", "prices -p"):
            with self.subTest(line):
                self.assertEqual(self.shell.run("halyx %s pri\t" % line), line.split() + ["pri"])
        self.assertEqual(self.shell.run("halyx-writer attach prices pri\t"), ["attach", "prices", "pri"])
        self.assertEqual(self.shell.run("halyx-writer attach --help pri\t"), ["attach", "--help", "pri"])

    def test_every_option_is_offered_with_what_it_does(self):
        text = self.help_of("halyx", "-h")
        options = re.findall(r"^   ((?:--[a-z-]+, )?-[a-zA-Z])(?: <[A-Z]+>)? {2,}(\S.*(?:\n {20,}\S.*)*)", text, re.M)
        options += re.findall(r"^   (--[a-z-]+, -[a-zA-Z]) <[A-Z]+> (\S.*)", text, re.M)
        wanted = set()
        for names, description in options:
            wanted.update(names.split(", "))
            wanted.add(re.sub(r"\s+", " ", description))
        self.assertEqual(len({name for name in wanted if re.match("-[a-zA-Z]$", name)}), 12)
        self.assertEqual(len({name for name in wanted if name.startswith("--")}), 5)
        listed = self.shell.listed("halyx -", sorted(wanted))
        self.assertEqual(set(re.findall(r"(?<![\w-])--[a-z-]+", listed)), {name for name in wanted if name.startswith("--")})

    def test_the_commands_of_the_writer_are_offered_with_what_they_do(self):
        text = self.help_of("halyx-writer", "--help")
        wanted = re.findall(r"^  ([a-z-]+)  +(\S.*)", text, re.M)
        self.assertEqual(sorted(name for name, summary in wanted), COMMANDS)
        self.shell.listed("halyx-writer ", [part for pair in wanted for part in pair])
        self.assertEqual(self.shell.run("halyx-writer mir\t"), ["mirror-proc"])

    def test_the_options_of_the_writer_are_offered_with_what_they_do(self):
        for command in COMMANDS:
            with self.subTest(command):
                text = self.help_of("halyx-writer", command, "--help")
                wanted = re.findall(r"^  (--[a-z-]+)(?: \S+)?  +(\S.*)", text, re.M)
                self.assertGreater(len(wanted), 2)
                listed = self.shell.listed("halyx-writer %s --" % command, [part for pair in wanted for part in pair])
                self.assertEqual(set(re.findall(r"(?<![\w-])--[a-z-]+", listed)) - {"--grow-from"},
                                 {name for name, summary in wanted} - {"--grow-from"})

    def test_values_of_the_writers_options(self):
        self.assertEqual(self.shell.run("halyx-writer attach --as key\t"), ["attach", "--as", "keyshadow"])
        self.assertEqual(self.shell.run("halyx-writer attach --as=key\t"), ["attach", "--as=keyshadow"])
        self.assertEqual(self.shell.run("halyx-writer load --format js\t"), ["load", "--format", "jsonl"])
        self.assertEqual(self.shell.run("halyx-writer load --type uint3\t"), ["load", "--type", "uint32_t"])
        self.assertEqual(self.shell.run("halyx-writer load --type Serv\t"), ["load", "--type", "Service"])
        self.assertEqual(self.shell.run("halyx-writer load --buckets pri\t"), ["load", "--buckets", "pri"])

    def test_the_program_that_is_typed_is_asked(self):
        home = self.shell.scratch
        for place in ("bin", "share"):
            os.symlink(os.path.join(PROGRAMS, "..", place), os.path.join(home, place))
        for program in (PROGRAMS + "/halyx-writer", "~/bin/halyx-writer"):
            listed = self.shell.listed(program + " attach --", ["--as", "--seconds"])
            self.assertNotIn("--type", listed)
            self.shell.listed(program + " load --type ", ["uint32_t", "Service"])

    def test_files_where_files_are_wanted(self):
        for name in ("prices-list", "files $(touch x7)"):
            open(os.path.join(self.shell.directory, name), "w").close()
        for line in ("halyx -f", "halyx -pf", "halyx -x -f", "halyx-writer load name"):
            with self.subTest(line):
                words = line.split()[1:]
                self.assertEqual(self.shell.run(line + " pri\t"), words + ["prices-list"])
                self.assertEqual(self.shell.run(line + " fil\t"), words + ["files $(touch x7)"])
        self.assertEqual(self.shell.run("halyx -f out pri\t"), ["-f", "out", "prices"])
        for name in os.listdir(self.shell.directory):
            os.unlink(os.path.join(self.shell.directory, name))

    def test_processes_that_use_a_collection_are_offered(self):
        path = os.path.join(self.root, "prices", "buckets")
        with open(path, "w+b") as file:
            file.truncate(4096)
            mapping = mmap.mmap(file.fileno(), 4096, prot=mmap.PROT_READ)
        try:
            own = str(os.getpid())
            self.assertEqual(self.shell.run("halyx -c \t"), ["-c", own])
            self.assertEqual(self.shell.run("halyx --what \t"), ["--what", own])
            self.assertEqual(self.shell.run("halyx --what=\t"), ["--what=" + own])
        finally:
            mapping.close()
            os.unlink(path)
        # Without one, all are, with their names.
        with open("/proc/%s/comm" % own) as file:
            self.shell.listed("halyx -c ", [own, file.read().strip()])

    def test_collections_come_and_go(self):
        self.assertEqual(self.shell.run("halyx late\t"), ["late"])
        path = os.path.join(self.root, "later/still")
        os.makedirs(path)
        open(os.path.join(path, "slab31"), "w").close()
        try:
            self.assertEqual(self.shell.run("halyx late\t"), ["later/still"])
        finally:
            shutil.rmtree(os.path.dirname(path))
        os.makedirs(path)
        open(os.path.join(path, "slab32"), "w").close()
        self.assertEqual(self.shell.run("halyx late\t"), ["late"])
        shutil.rmtree(os.path.dirname(path))

    def tearDown(self):
        # Nothing that a name says was run.
        self.assertEqual(os.listdir(self.shell.directory), [])


if __name__ == "__main__":
    if len(sys.argv) < 4 or sys.argv[1] not in shells.SHELLS:
        sys.exit(__doc__)
    SHELL, PREFIX, PROGRAMS = sys.argv[1], os.path.abspath(sys.argv[2]), os.path.abspath(sys.argv[3])
    reason = shells.missing(SHELL)
    if reason:
        print("skipped: " + reason)
        sys.exit(77)
    unittest.main(argv=sys.argv[:1] + sys.argv[4:], verbosity=2)
