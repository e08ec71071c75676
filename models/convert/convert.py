#!/usr/bin/python3
"""Makes the models of this folder again: fetches the packages with the trained weights, checks their digests and writes
the ONNX files, byte for byte the same each time. Needs the Debian packages python3-numpy and npm.

  models/convert/convert.py                   writes the files into models/
  models/convert/convert.py --output FOLDER   writes them elsewhere
  models/convert/convert.py --packages FOLDER takes packages that were fetched before
"""

import argparse
import hashlib
import subprocess
import sys
import tarfile
import tempfile
from pathlib import Path

import face_networks
from flatbuffer_model import read_model
from stored_weights import read_weights
from subject_network import translate

# Name and version, the file that `npm pack` makes, its SHA-256.
FACES = (
    "@vladmandic/face-api@1.7.15",
    "vladmandic-face-api-1.7.15.tgz",
    "0d77fffeef362ef9c0939cf6c567f3a2e8e177f114fa257a3270cbd2e509b031",
)
SUBJECT = (
    "@mediapipe/selfie_segmentation@0.1.1675465747",
    "mediapipe-selfie_segmentation-0.1.1675465747.tgz",
    "7767b33eaa68990ee06c28bbb89f39a13a47ebb07ff0f1fd4947d9e817bb9bf9",
)


def unpack(package, folder):
    """The package's folder, below `folder`, fetched first unless it is there."""
    name, file, digest = package
    archive = folder / file
    if not archive.exists():
        subprocess.run(["npm", "pack", "--silent", name], cwd=folder, stdout=subprocess.DEVNULL, check=True)
    found = hashlib.sha256(archive.read_bytes()).hexdigest()
    if found != digest:
        sys.exit(f"{archive} has the digest {found}; it must be {digest}.")
    target = Path(tempfile.mkdtemp(dir=folder))
    with tarfile.open(archive) as files:
        files.extractall(target, [m for m in files if m.isfile() and ".." not in m.name and m.name[0] != "/"])
    return target / "package"


def networks(folder):
    """The files' names and bytes."""
    weights = unpack(FACES, folder) / "model"
    yield "face-detector.onnx", face_networks.detector(
        read_weights(weights / "tiny_face_detector_model-weights_manifest.json")
    )
    yield "face-landmarks.onnx", face_networks.landmarks(
        read_weights(weights / "face_landmark_68_model-weights_manifest.json")
    )
    yield "face-descriptor.onnx", face_networks.descriptor(
        read_weights(weights / "face_recognition_model-weights_manifest.json")
    )
    subject = unpack(SUBJECT, folder) / "selfie_segmentation.tflite"
    yield "subject.onnx", translate(read_model(subject.read_bytes()), "subject")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--output", type=Path, default=Path(__file__).resolve().parent.parent)
    parser.add_argument("--packages", type=Path)
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory() as scratch:
        folder = Path(scratch)
        if arguments.packages is not None:
            for _, file, _ in (FACES, SUBJECT):
                (folder / file).symlink_to((arguments.packages / file).resolve(strict=True))
        for name, data in networks(folder):
            (arguments.output / name).write_bytes(data)
            print(f"{name}: {len(data)} bytes, sha256 {hashlib.sha256(data).hexdigest()}")


if __name__ == "__main__":
    main()
