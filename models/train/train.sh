#!/usr/bin/env bash
# Trains every network that the project trained itself anew, one after the other, and writes the ONNX files to models/.
# Installs the Debian packages that it needs. models/train/README.md tells how long it takes.
#   models/train/train.sh [--output FOLDER] [--threads N] [--iterations N]      for every training
set -euo pipefail
cd "$(dirname "$0")/../.."

scripts/install-packages.sh python3-torch python3-onnx python3-pil lomiri-wallpapers-16.04

options=("$@")
train() { # PROGRAM [ARGUMENT]...
    echo "== $*"
    "models/train/$1" "${@:2}" "${options[@]}"
}

# From pictures to pictures
train denoise.py first
train denoise.py second
train super_resolution.py
train sharpen_luma.py
train restore.py

# Light, colours and skin
train low_light.py
train enhance.py model
train enhance.py flag
train one_click.py
train score.py
train adjust.py
train retouch.py
