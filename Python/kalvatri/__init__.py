"""Photo effects on numpy arrays.

    import kalvatri
    photo, metadata = kalvatri.read("photo.jpg")
    photo = kalvatri.apply(photo, "WhiteBalance", color="#c8b496")
    kalvatri.write("balanced.jpg", photo, metadata)

Pictures are arrays of uint8 in the shape H x W (grey), H x W x 3 (RGB) or H x W x 4 (RGBA), or objects with the array
interface, such as PIL's pictures. effects() lists the effects and describe() the settings of one.
"""

from ._kalvatri import (Chain, EffectError, KalvatriWarning, Metadata, SettingsError, __version__, apply, describe,
                        effects, faces, read, set_threads, write)


def step(effect, /, *, inputs=None, **settings):
    """A step of a chain: an effect with its settings and its further pictures."""
    made = {"effect": effect, **settings}
    if inputs is not None:
        made["inputs"] = inputs
    return made


__all__ = ["Chain", "EffectError", "KalvatriWarning", "Metadata", "SettingsError", "__version__", "apply", "describe",
           "effects", "faces", "read", "set_threads", "step", "write"]
