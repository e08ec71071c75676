"""Writes the module's stub from the settings that the effects declare, so that editors complete and explain them.

    make-stub.py FILE
"""
import sys
import textwrap

import kalvatri

HEAD = '''\
# Made from the settings declarations.
import os
from typing import Any, Callable, Literal, Mapping, Sequence, TypedDict, Union, overload

import numpy
from numpy.typing import NDArray

__version__: str
Image = NDArray[numpy.uint8]
Picture = Any  # an array of uint8, or an object with the array interface
Path = Union[str, bytes, os.PathLike[Any]]
Inputs = Union[Picture, Path, Sequence[Union[Picture, Path]]]
Progress = Callable[[str, float], Any]
Step = Mapping[str, Any]

class EffectError(RuntimeError):
    """An effect, or a file, could not do what it was asked for."""

class SettingsError(ValueError):
    """An argument that makes no sense, and what would."""

class KalvatriWarning(UserWarning):
    """What was lost on the way, or could not be done."""

class Metadata:
    """EXIF, XMP, IPTC, colour profile and resolution of a picture that was read, for write()."""

class Chain:
    """A chain of effects that is used for many pictures. It keeps its effects and their memory."""
    def __init__(self, steps: Union[str, Step, Sequence[Union[str, Step]]], *, strict: bool = ...) -> None: ...
    def __call__(self, array: Union[Picture, Sequence[Picture]], /, *, progress: Union[Progress, None] = ...) -> Any:
        """Runs the chain on a picture."""

def effects() -> list[dict[str, Any]]:
    """All effects, as `kalvatri list --json` prints them."""
def describe(effect: str) -> dict[str, Any]:
    """An effect and its settings, as `kalvatri describe EFFECT --json` prints them."""
def faces(array: Picture, /, *, threshold: float = ..., min_face: Union[float, None] = ...) -> list[dict[str, Any]]:
    """The faces of a picture, the largest first.

    threshold: how sure to be of a face, 0.05..1. min_face: the smallest face, of the picture's longer side.
    """
def read(path: Path, *, max_pixels: int = ..., allow_truncated: bool = ..., srgb: bool = ...,
         raw_white_balance: Literal["camera", "daylight", "auto"] = ...,
         raw_brightness: Union[float, Literal["auto"], None] = ...) -> tuple[Image, Metadata]:
    """A picture file as an upright array, and its metadata."""
def write(path: Path, array: Picture, metadata: Union[Metadata, None] = ..., *, quality: int = ...,
          format: Union[str, None] = ...) -> None:
    """Writes a picture file, whole or not at all, in the format of its suffix."""
def set_threads(threads: int) -> None:
    """The threads that work on a picture, one a processor if this is not called."""
'''
TYPES = {"bool": "bool", "int": "int", "double": "float", "color": "str", "string": "str", "length": "Union[int, str]",
         "box": "str", "list": "Sequence[float]", "path": "Path", "map": "Union[str, Mapping[Any, str]]", "json": "Any"}


def type_of(field):
    if field["type"] == "enum":
        return "Literal[%s]" % ", ".join('"%s"' % value["name"] for value in field["values"])
    return TYPES[field["type"]]


def meaning(field):
    """The setting in one paragraph: what it means, its values, its unit and its default."""
    values = ", ".join(value["name"] for value in field["values"])
    limits = values or ("" if field["min"] is None else "%s..%s" % (field["min"], field["max"]))
    notes = [text for text in (limits, field["unit"], "default %s" % field["default"]) if text]
    text = "%s: %s (%s)" % (field["key"], field["summary"], "; ".join(notes))
    return textwrap.fill(text, 110, initial_indent="    ", subsequent_indent="        ")


def escaped(text):
    return text.replace("\\", "\\\\").replace('"""', '\\"""')


def declare(effect):
    """The effect's groups of settings as classes, and the overloads of apply and of step."""
    classes, keywords, groups = "", [], {}
    for field in effect["fields"]:
        group, _, key = field["key"].rpartition(".")
        if group:
            groups.setdefault(group, []).append((key, type_of(field)))
        else:
            keywords.append((field["key"], type_of(field)))
    for group, members in groups.items():
        name = "_%s%s" % (effect["effect"], group[0].upper() + group[1:])
        classes += "\nclass %s(TypedDict, total=False):\n" % name
        classes += "".join("    %s: %s\n" % member for member in members)
        keywords.append((group, name))
    names = {name for name, _ in keywords}
    keywords += [(name, "Any") for name in ("face", "faces") if name not in names and effect["takesFaces"]]
    settings = "".join(", %s: %s = ..." % keyword for keyword in keywords)
    many = effect["kind"] == "variable-input"
    text = escaped("\n\n".join(filter(None, [effect["summary"], "\n".join(map(meaning, effect["fields"]))])))
    picture = "Union[Picture, Sequence[Picture]]" if many else "Picture"
    result = "Any" if many else "Image"
    apply = ('\n@overload\ndef apply(array: %s, effect: Literal["%s"], /, *, inputs: Union[Inputs, None] = ..., '
             'progress: Union[Progress, None] = ..., strict: bool = ...%s) -> %s:\n    """%s\n    """\n'
             % (picture, effect["effect"], settings, result, text))
    step = ('\n@overload\ndef step(effect: Literal["%s"], /, *, inputs: Union[Inputs, None] = ...%s) -> Step:\n'
            '    """%s\n    """\n' % (effect["effect"], settings, text))
    return classes, apply, step


def main(path):
    with open(path, "w", encoding="utf-8") as out:
        out.write(HEAD)
        declared = []
        for entry in kalvatri.effects():
            effect = kalvatri.describe(entry["effect"])
            if any(field["type"] == "function" for field in effect["fields"]):
                continue
            effect["takesFaces"] = entry["group"] == "Faces"
            declared.append(declare(effect))
        # The overloads of a function must be adjacent.
        classes, applies, steps = zip(*declared)
        out.writelines(classes + applies)
        out.write('\n@overload\ndef apply(array: Union[Picture, Sequence[Picture]], effect: Union[Chain, Sequence[Union[str, '
                  'Step]], Step], /, *, progress: Union[Progress, None] = ..., strict: bool = ...) -> Any:\n'
                  '    """Runs a chain on a picture."""\n')
        out.writelines(steps)


main(sys.argv[1])
