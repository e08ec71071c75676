#!/usr/bin/env python3
"""Measures the Python module on 24 megapixels beside the same call in C++, OpenCV and Pillow, and its import.

    scripts/bench-python.py [BUILD]     default: build/release; run it with Debian's python3

A ratio is the peer's time over ours, each the fastest of several on one thread: above 1 is faster than the peer.
"""
import json
import os
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BUILD = os.path.abspath(sys.argv[1]) if len(sys.argv) > 1 else os.path.join(ROOT, 'build/release')
MODULES = os.path.join(BUILD, 'lib/python3/dist-packages')
sys.path.insert(0, MODULES)
RUNS = 15


def fastest(work, runs=RUNS):
    times = []
    for _ in range(runs):
        begin = time.perf_counter()
        work()
        times.append(time.perf_counter() - begin)
    return min(times)


def in_cpp():
    """Seconds of the same effect on as many pixels, called by a C++ program."""
    report = subprocess.run([os.path.join(BUILD, 'bin/EffectsBench'), '--benchmark_filter=^WhiteBalance, rgb24 . kalvatri',
                             '--benchmark_out=/dev/stderr', '--benchmark_out_format=json'],
                            check=True, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True).stderr
    runs = json.loads(report[report.index('{'):])['benchmarks']
    return min(run['real_time'] for run in runs if run['run_type'] == 'iteration') / 1000


def importing(module):
    command = [sys.executable, '-c', f'import sys; sys.path.insert(0, {MODULES!r}); import {module}']
    return fastest(lambda: subprocess.run(command, check=True)) - fastest(lambda: subprocess.run([sys.executable, '-c', ''], check=True))


def main():
    import cv2
    import numpy
    from PIL import Image, ImageOps

    import kalvatri

    cv2.setNumThreads(1)
    photo = numpy.random.default_rng(1).integers(0, 256, (4000, 6000, 3), numpy.uint8)
    chain = kalvatri.Chain([kalvatri.step('WhiteBalance', color='#c8b496')])
    table = [min(255, value * 6 // 5) for value in range(256)] * 3
    tables = numpy.array(table, numpy.uint8).reshape(3, 256).T.reshape(1, 256, 3).copy()
    picture = Image.fromarray(photo)
    ours = fastest(lambda: chain(photo))
    peers = {'the same effect in C++': in_cpp(),
             'cv2.LUT, three channels': fastest(lambda: cv2.LUT(photo, tables)),
             'PIL point': fastest(lambda: picture.point(table)),
             'PIL ImageOps.autocontrast': fastest(lambda: ImageOps.autocontrast(picture))}
    for name, seconds in peers.items():
        print(f'{"WhiteBalance":14} {ours * 1000:5.0f} ms   {name:28} {seconds * 1000:5.0f} ms   {seconds / ours:6.2f}')
    ours, peer = importing('kalvatri'), importing('cv2')
    print(f'{"import":14} {ours * 1000:5.0f} ms   {"import cv2":28} {peer * 1000:5.0f} ms   {peer / ours:6.2f}')


if __name__ == '__main__':
    main()
