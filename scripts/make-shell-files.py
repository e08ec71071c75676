#!/usr/bin/env python3
"""Writes completion for bash, zsh and fish and the manual page from what kalvatri says of itself.

    make-shell-files.py KALVATRI FOLDER      makes FOLDER/kalvatri.bash, _kalvatri, kalvatri.fish and kalvatri.1
"""
import json
import pathlib
import re
import subprocess
import sys

CHAINS = ("apply", "batch")  # the commands that take effects and their settings
FILES, FOLDERS = "FILE", "DIR"


def run(*words):
    return subprocess.run([PROGRAM, *words], check=True, capture_output=True, text=True).stdout


def sections(text):
    """The paragraphs of a help text by their titles; the one before the first title under ""."""
    parts, title = {"": []}, ""
    for line in text.splitlines():
        if re.fullmatch(r"[A-Z][a-z]+:", line):
            title = line[:-1]
            parts[title] = []
        else:
            parts[title].append(line)
    return parts


def options_of(lines):
    """[(names, value, description)], names as (-o, --output)."""
    options = []
    for line in lines:
        found = re.match(r"  ((?:-\w,)?--[\w-]+)(?: (\S+))?(?: {2,}(.*)| (\S.*))?$", line)
        if found:
            names, value, text, text_after_value = found.groups()
            options.append([names.split(","), value or "", text or text_after_value or ""])
        elif options and line.startswith(" " * 20):
            options[-1][2] = (options[-1][2] + " " + line.strip()).strip()
    return options


class Command:
    def __init__(self, name, summary):
        help_text = run(name, "--help")
        parts = sections(help_text)
        usage = help_text[help_text.index("Usage: ") + 7:help_text.index("\n\nOptions:")]
        self.name, self.summary = name, summary
        self.usage = " ".join(usage.split())
        self.options = options_of(parts["Options"])
        self.examples = [line.strip() for line in parts.get("Examples", []) if line.strip()]


class Effect:
    def __init__(self, entry):
        described = json.loads(run("describe", entry["effect"], "--json"))
        self.name, self.summary, self.fields = entry["effect"], entry["summary"], described["fields"]
        self.takes_pictures = entry["kind"] != "one-input"

    def values(self, field):
        if field["type"] == "bool":
            return ["true", "false"]
        if field["type"] == "path":
            return FILES
        return [value["name"] for value in field["values"]]


def values_of(option, formats):
    """The words that may follow an option, or what kind of files."""
    names, value, _ = option
    if "--format" in names:
        return formats
    if value in ("FILE", "IN", "OUT", "RECIPE"):
        return FILES
    if value == "DIR":
        return FOLDERS
    # Numbers, such as 1..100, and sizes are not completed.
    return value.split("|") if re.fullmatch(r"[a-zX]+(\|[a-zX]+)+", value) else []


def quoted(text):
    return "'" + text.replace("'", "'\\''") + "'"


def bash(commands, effects, formats):
    def reply(values):
        if values == FILES:
            return "compopt -o default; COMPREPLY=()"
        if values == FOLDERS:
            return "compopt -o dirnames; COMPREPLY=()"
        return "COMPREPLY=($(compgen -W %s -- \"$cur\"))" % quoted(" ".join(values))

    lines = ["# Completion of kalvatri for bash, made from what the program says of itself.", "",
             "_kalvatri_value() {  # EFFECT KEY: completes a setting's value", "    case \"$1 $2\" in"]
    for effect in effects:
        for field in effect.fields:
            if effect.values(field):
                lines.append("        %s) %s ;;" % (quoted(effect.name.lower() + " " + field["key"]),
                                                    reply(effect.values(field))))
    lines += ["        *' with') compopt -o default ;;", "    esac", "}", "",
              "_kalvatri_keys() {  # EFFECT: the keys of its settings", "    case \"$1\" in"]
    for effect in effects:
        keys = [field["key"] + "=" for field in effect.fields] + (["with="] if effect.takes_pictures else [])
        if keys:
            lines.append("        %s) echo %s ;;" % (effect.name.lower(), quoted(" ".join(keys))))
    names = " ".join(effect.name for effect in effects)
    lines += ["    esac", "}", "", "_kalvatri() {", "    local cur prev words cword",
              "    _get_comp_words_by_ref -n =: cur prev words cword", "    COMPREPLY=()",
              "    local effects=%s" % quoted(names),
              "    if ((cword == 1)); then",
              "        COMPREPLY=($(compgen -W %s -- \"$cur\"))" %
              quoted(" ".join([command.name for command in commands] + ["--help", "--version"])),
              "        return", "    fi", "    local command=${words[1]}", "    case \"$command $prev\" in"]
    for command in commands:
        for option in command.options:
            values = values_of(option, formats)
            if option[1]:
                pattern = "|".join(quoted(command.name + " " + name) for name in option[0])
                lines.append("        %s)\n            %s\n            return ;;" % (pattern, reply(values)))
    lines += ["    esac", "    if [[ $cur == -* ]]; then", "        case \"$command\" in"]
    for command in commands:
        lines.append("            %s) COMPREPLY=($(compgen -W %s -- \"$cur\")) ;;" % (
            command.name, quoted(" ".join(name for option in command.options for name in option[0]))))
    lines += ['''        esac
        return
    fi
    if [[ $command == describe ]]; then
        COMPREPLY=($(compgen -W "$effects" -- "$cur"))
        return
    fi
    if [[ $command == apply || ($command == batch && " ${words[*]:2:cword-2} " == *' -- '*) ]]; then
        local effect="" word
        for word in "${words[@]:2:cword-2}"; do
            [[ $word != *=* && " ${effects,,} " == *" ${word,,} "* ]] && effect=${word,,}
        done
        if [[ $cur == *=* ]]; then
            # Only what stands after the sign is replaced, which breaks words.
            local key=${cur%%=*}
            cur=${cur#*=}
            [[ $COMP_WORDBREAKS == *=* ]] || compopt -o nospace
            _kalvatri_value "$effect" "$key"
        else
            COMPREPLY=($(compgen -W "$(_kalvatri_keys "$effect") $effects" -- "$cur"))
            [[ ${#COMPREPLY[@]} -eq 1 && ${COMPREPLY[0]} == *= ]] && compopt -o nospace
        fi
        return
    fi
    compopt -o default
}
complete -F _kalvatri kalvatri''']
    return "\n".join(lines) + "\n"


def zsh(commands, effects, formats):
    def described(pairs):
        return " ".join(quoted(name.replace(":", "\\:") + ":" + text) for name, text in pairs)

    def reply(values):
        if values == FILES:
            return "_files"
        if values == FOLDERS:
            return "_files -/"
        return "compadd -- %s" % " ".join(map(quoted, values)) if values else "_message value"

    lines = ["#compdef kalvatri", "# Completion of kalvatri for zsh, made from what the program says of itself.", "",
             "local -a commands effects options keys", "commands=(%s)" % described((c.name, c.summary) for c in commands),
             "effects=(%s)" % described((e.name, e.summary) for e in effects),
             "if ((CURRENT == 2)); then", "    _describe command commands", "    return", "fi",
             "local command=$words[2] previous=$words[CURRENT-1] effect='' word", "case \"$command $previous\" in"]
    for command in commands:
        for option in command.options:
            if option[1]:
                pattern = "|".join('%s\\ %s' % (command.name, name) for name in option[0])
                lines.append("    %s) %s; return ;;" % (pattern, reply(values_of(option, formats))))
    lines += ["esac", "if [[ $PREFIX == -* ]]; then", "    case $command in"]
    for command in commands:
        lines.append("        %s) options=(%s) ;;" % (
            command.name, described((name, text) for names, _, text in command.options for name in names)))
    lines += ['''    esac
    _describe option options
    return
fi
if [[ $command == describe ]]; then
    _describe effect effects
    return
fi
if [[ $command != apply && ($command != batch || ${words[(ie)--]} -ge $CURRENT) ]]; then
    _files
    return
fi
for word in ${words[3,CURRENT-1]}; do
    [[ $word != *=* && -n ${(M)effects:#(#i)$word:*} ]] && effect=${(L)word}
done
if [[ $PREFIX == *=* ]]; then
    local key=${PREFIX%%=*}
    compset -P '*='
    case "$effect $key" in''']
    for effect in effects:
        for field in effect.fields:
            if effect.values(field):
                lines.append("        %s\\ %s) %s ;;" % (effect.name.lower(), field["key"], reply(effect.values(field))))
    lines += ["        *\\ with) _files ;;", "    esac", "    return", "fi", "case $effect in"]
    for effect in effects:
        pairs = [(field["key"], field["summary"]) for field in effect.fields]
        pairs += [("with", "a further picture")] if effect.takes_pictures else []
        if pairs:
            lines.append("    %s) keys=(%s) ;;" % (effect.name.lower(), described(pairs)))
    lines += ["esac", "_describe -t settings setting keys -S =", "_describe -t effects effect effects"]
    text = "\n".join(lines) + "\n"
    return text.replace("local -a commands", "setopt local_options extended_glob\nlocal -a commands", 1)


def fish(commands, effects, formats):
    def escaped(text):
        return "'" + text.replace("\\", "\\\\").replace("'", "\\'") + "'"

    names = " ".join(effect.name for effect in effects)
    lines = ["# Completion of kalvatri for fish, made from what the program says of itself.", "",
             '''function __kalvatri_effect  # the last effect before the cursor, in small letters
    for word in (commandline -opc)[-1..1]
        if contains -- (string lower -- $word) %s
            string lower -- $word
            return
        end
    end
end
function __kalvatri_in_chain
    set -l words (commandline -opc)
    contains -- "$words[2]" apply; or begin; contains -- "$words[2]" batch; and contains -- -- $words; end
end''' % names.lower(), "complete -c kalvatri -n __kalvatri_in_chain -f"]
    for command in commands:
        lines.append("complete -c kalvatri -n __fish_use_subcommand -f -a %s -d %s" % (command.name,
                                                                                     escaped(command.summary)))
        for option_names, value, text in command.options:
            line = "complete -c kalvatri -n '__fish_seen_subcommand_from %s'" % command.name
            for name in option_names:
                line += " -l " + name[2:] if name.startswith("--") else " -s " + name[1:]
            if value:
                values = values_of((option_names, value, text), formats)
                line += " -r -F" if values in (FILES, FOLDERS) else " -x"
                line += " -a %s" % escaped(" ".join(values)) if isinstance(values, list) and values else ""
            lines.append(line + " -d " + escaped(text))
    for effect in effects:
        for condition in ("__kalvatri_in_chain", "'__fish_seen_subcommand_from describe'"):
            lines.append("complete -c kalvatri -n %s -f -a %s -d %s" % (condition, effect.name, escaped(effect.summary)))
        for field in effect.fields:
            values = effect.values(field)
            words = [field["key"] + "=" + value for value in values] if isinstance(values, list) and values else [
                field["key"] + "="]
            lines.append("complete -c kalvatri -n '__kalvatri_in_chain; and test (__kalvatri_effect) = %s' -f -a %s -d %s"
                         % (effect.name.lower(), escaped(" ".join(words)), escaped(field["summary"])))
    return "\n".join(lines) + "\n"


def manual(commands, effects, formats, version):
    def plain(text):
        text = text.replace("\\", "\\e").replace("-", "\\-")
        return "\\&" + text if text.startswith((".", "'")) else text

    lines = ['.TH KALVATRI 1 "" "%s" "User Commands"' % version, ".ad l", ".SH NAME",
             "kalvatri \\- photo effects on the command line", ".SH SYNOPSIS"]
    for command in commands:
        lines += [plain(command.usage), ".br"]
    lines += [".SH DESCRIPTION", "Runs effects on photographs, one by one or whole collections. The files keep their "
              "metadata; results are written beside their targets and renamed, so that an existing file is replaced "
              "whole or not at all."]
    for command in commands:
        lines += [".SH " + command.name.upper(), plain(command.summary) + "."]
        for option_names, value, text in command.options:
            lines += [".TP", "\\fB%s\\fR%s" % (plain(", ".join(option_names)), " \\fI%s\\fR" % plain(value) if value
                                               else ""), plain(text)]
    lines += [".SH EFFECTS", "Each is followed by its settings as key=value. A further picture is given as with=FILE."]
    for effect in effects:
        lines += [".SS " + plain(effect.name), plain(effect.summary)]
        for field in effect.fields:
            values = effect.values(field) if isinstance(effect.values(field), list) else []
            limits = ", ".join(values) or ("" if field["min"] is None else "%s..%s" % (field["min"], field["max"]))
            default = json.dumps(field["default"]) if not isinstance(field["default"], str) else field["default"]
            notes = "; ".join(filter(None, [limits, field["unit"], default and "default " + default]))
            lines += [".TP", "\\fB%s\\fR" % plain(field["key"]), plain(field["summary"] + (" (%s)" % notes if notes else ""))]
    lines += [".SH FILES", "\\fI.kalvatri\\-batch.jsonl\\fR in the folder of a batch's results records what they were made "
              "from.", ".SH FORMATS"]
    for entry in formats:
        lines += [".TP", "\\fB%s\\fR" % plain(entry["format"]),
                  plain("%s; keeps %s%s" % (", ".join(entry["suffixes"]), ", ".join(entry["metadata"]) or "nothing",
                                            "" if entry["write"] else "; only read"))]
    lines += [".SH EXIT STATUS", ".TP", "0", "Done.", ".TP", "1", "An input or an effect failed.", ".TP", "2",
              "Wrong usage.", ".SH EXAMPLES", ".nf"]
    lines += [plain(example) for example in dict.fromkeys(e for command in commands for e in command.examples)]
    return "\n".join(lines + [".fi"]) + "\n"


PROGRAM, FOLDER = sys.argv[1], pathlib.Path(sys.argv[2])
listed = [line.split(None, 1) for line in sections(run("--help"))["Subcommands"] if line.strip()]
COMMANDS = [Command(name, summary) for name, summary in listed]
EFFECTS = [Effect(entry) for entry in json.loads(run("list", "--json"))]
KINDS = json.loads(run("formats", "--json"))
WRITABLE = [suffix for entry in KINDS if entry["write"] for suffix in entry["suffixes"]]
FOLDER.mkdir(parents=True, exist_ok=True)
(FOLDER / "kalvatri.bash").write_text(bash(COMMANDS, EFFECTS, WRITABLE))
(FOLDER / "_kalvatri").write_text(zsh(COMMANDS, EFFECTS, WRITABLE))
(FOLDER / "kalvatri.fish").write_text(fish(COMMANDS, EFFECTS, WRITABLE))
(FOLDER / "kalvatri.1").write_text(manual(COMMANDS, EFFECTS, KINDS, run("--version").strip()))
