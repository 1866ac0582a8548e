#!/usr/bin/env python3
"""The manual page and the completions of a program name exactly what its --help names.

options_test.py <program> <folder of its manual page and completions>
"""

import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

PROGRAM = pathlib.Path(sys.argv[1])
NAME = PROGRAM.name
FOLDER = pathlib.Path(sys.argv[2])
MANUAL = FOLDER / f"{NAME}.1"
COMPLETIONS = {shell: FOLDER / "completions" / f"{NAME}.{shell}" for shell in ("bash", "zsh", "fish")}

OPTION = re.compile(r"(?<!\S)\[?(--[a-z][a-z-]*)")
OPERANDS = re.compile(r"(--[a-z][a-z-]*) ([a-z]+(?:\|[a-z]+)+)")
COMMAND = re.compile(r"  ([a-z]+(?: [a-z]+)?)(?= {2}| [A-Z[]|$)")


def output(*command, **more):
    return subprocess.run(command, check=True, capture_output=True, text=True, **more).stdout


class Help:
    """What --help names: the options of each command, those of all, and the words that belong to an option."""

    def __init__(self):
        self.commands = {}
        self.common = set()
        self.operands = {}
        options = self.common
        for line in output(PROGRAM, "--help").splitlines():
            command = COMMAND.match(line)
            if command:
                options = self.commands.setdefault(command[1], set())
            elif not line.startswith("    "):
                options = self.common
            options.update(OPTION.findall(line))
            self.operands.update((option, set(words.split("|"))) for option, words in OPERANDS.findall(line))

    def options(self):
        return self.common.union(*self.commands.values())


HELP = Help()


def tags():
    """The entries of the manual page, without its markup."""
    lines = MANUAL.read_text().replace("\\-", "-").splitlines()
    return [" ".join(re.sub(r"^\.[A-Z]+ ", "", tag).replace('"', "").split()) for before, tag in zip(lines, lines[1:]) if before == ".TP"]


def offered_by_bash(*words):
    """What bash offers when the last of the words is being typed."""
    script = """source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1))
        call=$(complete -p "$1"); call=${call#*-F }; ${call%% *} "$1" "${@: -1}"; printf '%s\\n' "${COMPREPLY[@]}" """
    return set(output("bash", "-c", script, "bash", COMPLETIONS["bash"], NAME, *words).split())


def offered_by_fish(*words):
    """What fish offers when the last of the words is being typed."""
    with tempfile.TemporaryDirectory() as home:
        lines = output(
            "fish", "--no-config", "-c", "source $argv[1]; complete -C $argv[2]", COMPLETIONS["fish"],
            " ".join([NAME, *words]), env={"HOME": home, "PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8"},
        ).splitlines()
    return {line.split("\t")[0] for line in lines}


class OptionsTest(unittest.TestCase):
    def test_help_names_something(self):
        self.assertLessEqual({"--help", "--version"}, HELP.common)

    def test_manual_has_an_entry_for_each_option_and_no_other(self):
        self.assertEqual({option for tag in tags() for option in OPTION.findall(tag)}, HELP.options())

    def test_manual_has_an_entry_for_each_command_and_no_other(self):
        commands = (re.match(r"([a-z]+(?: [a-z]+)?)(?= [A-Z]|$)", tag) for tag in tags())
        keys = {"up , down", "left , right"}
        self.assertEqual({tag[1] for tag in commands if tag} - keys, set(HELP.commands))

    def test_manual_is_set_without_a_warning(self):
        manual = subprocess.run(
            ["man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", MANUAL], capture_output=True, text=True,
            env={"LC_ALL": "C.UTF-8", "PATH": "/usr/bin:/bin", "MANWIDTH": "80"},
        )
        self.assertEqual((manual.returncode, manual.stderr), (0, ""))
        self.assertIn(NAME.split("-")[1], manual.stdout)

    def test_each_shell_reads_its_completions(self):
        for shell, file in COMPLETIONS.items():
            with self.subTest(shell):
                output(shell, "-n", file)

    def test_completions_name_each_option_and_no_other(self):
        for shell in ("bash", "zsh"):
            with self.subTest(shell):
                named = re.findall(r"(?<![\w-])--[a-z][a-z-]*", COMPLETIONS[shell].read_text())
                self.assertEqual(set(named), HELP.options())

    def test_completions_for_zsh_name_each_command(self):
        words = {word for command in HELP.commands for word in command.split()}
        named = re.findall(r"'([a-z]+):", COMPLETIONS["zsh"].read_text())
        self.assertEqual(set(named), words)

    def test_shells_offer_each_command_where_it_is_typed(self):
        for offered in (offered_by_bash, offered_by_fish):
            first = {command.split()[0] for command in HELP.commands}
            options = {option for option in offered("") if option.startswith("-")}
            self.assertEqual(offered("") - options, first)
            for word in first:
                with self.subTest(word=word, shell=offered.__name__):
                    second = {command.split()[1] for command in HELP.commands if command.startswith(word + " ")}
                    if second:
                        self.assertEqual(offered(word, ""), second)

    def test_shells_offer_each_option_first_or_behind_another(self):
        for offered in (offered_by_bash, offered_by_fish):
            with self.subTest(shell=offered.__name__):
                first = offered("--")
                behind = (option for other in first for option in offered(other, "--") if option.startswith("--"))
                self.assertEqual(first.union(behind), HELP.options() if not HELP.commands else HELP.common)

    def test_shells_offer_the_words_that_belong_to_an_option(self):
        for offered in (offered_by_bash, offered_by_fish):
            for option, words in HELP.operands.items():
                with self.subTest(option=option, shell=offered.__name__):
                    self.assertEqual(offered(option, ""), words)

    def test_shells_offer_the_options_of_each_command(self):
        for offered in (offered_by_bash, offered_by_fish):
            for command, own in HELP.commands.items():
                with self.subTest(command=command, shell=offered.__name__):
                    words = command.split()
                    words += ["word"] * (2 - len(words)) if words[:1] in (["backup"], ["export"]) else []
                    self.assertEqual(offered(*words, "--"), HELP.common | own)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
