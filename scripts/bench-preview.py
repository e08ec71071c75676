#!/usr/bin/env python3
"""Measures `kalvatri preview` beside `kalvatri apply` on a photograph of 24 megapixels in a window of two.

    scripts/bench-preview.py [KALVATRI]     default: build/release/bin/kalvatri

Slider to picture is the time of a request with a setting that has changed, pixels included. Memory is the sum of the
proportional shares (PSS) of all processes of the preview, against the peak of `apply` with the same chain.
"""
import atexit
import http.client
import json
import os
import signal
import statistics
import struct
import subprocess
import sys
import tempfile
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
KALVATRI = sys.argv[1] if len(sys.argv) > 1 else os.path.join(ROOT, 'build/release/bin/kalvatri')
WINDOW = {'outWidth': 1732, 'outHeight': 1155}  # two megapixels
REQUESTS = 41
TONE = {'BalanceLuma': 'shadows', 'ColorBalance': 'contrast', 'TintTemperature': 'temperature', 'Vibrance': 'strength',
        'SplitToning': 'balance', 'ColoredGlass': 'alpha', 'DetailsEnhance': 'strength', 'AutoEnhance': 'intensity'}
SKIPPED = {'Custom', 'Cutter', 'Stitcher', 'Original', 'Resize', 'EdgeRemove'}  # that take more than one picture, or settings


class Preview:
    def __init__(self, photo):
        self.began = time.perf_counter()
        self.process = subprocess.Popen([KALVATRI, 'preview', '--no-open', photo], stdout=subprocess.PIPE, text=True)
        address = next(word for word in self.process.stdout.readline().split() if word.startswith('http://'))
        self.host, self.token = address[len('http://'):].rstrip('/').split('/')
        self.connection = http.client.HTTPConnection(self.host)
        atexit.register(self.process.kill)
        self.sequence = 0

    def render(self, chain, is_final=False):
        self.sequence += 1
        body = json.dumps({'client': 'bench', 'lane': 'main', 'sequence': self.sequence, 'photo': 0, 'chain': chain,
                           'view': WINDOW, 'isFinal': is_final})
        self.connection.close()  # it may have been idle for too long
        begin = time.perf_counter()
        self.connection.request('POST', f'/{self.token}/api/render', body)
        response = self.connection.getresponse()
        answer = response.read()
        seconds = time.perf_counter() - begin
        if response.status != 200:
            raise RuntimeError(answer.decode())
        length, = struct.unpack('<I', answer[:4])
        return seconds, json.loads(answer[4:4 + length])

    def catalogue(self):
        self.connection.close()
        self.connection.request('GET', f'/{self.token}/api/catalogue')
        return json.loads(self.connection.getresponse().read())['effects']

    def kibibytes(self):
        total, pids = 0, [self.process.pid]
        while pids:
            pid = pids.pop()
            with open(f'/proc/{pid}/smaps_rollup') as rollup:
                total += next(int(line.split()[1]) for line in rollup if line.startswith('Pss:'))
            with open(f'/proc/{pid}/task/{pid}/children') as children:
                pids += [int(child) for child in children.read().split()]
        return total

    def end(self):
        begin = time.perf_counter()
        self.process.send_signal(signal.SIGINT)
        code = self.process.wait()
        return code, time.perf_counter() - begin


def apply(photo, output, words):
    begin = time.perf_counter()
    child = subprocess.Popen([KALVATRI, 'apply', '-q', '-i', photo, '-o', output, *words])
    _, status, usage = os.wait4(child.pid, 0)
    if status:
        raise RuntimeError(f'apply {words} failed')
    return time.perf_counter() - begin, usage.ru_maxrss


def percentile(values, share):
    return sorted(values)[min(len(values) - 1, int(share * len(values)))]


def main():
    with tempfile.TemporaryDirectory() as scratch:
        photo, output = os.path.join(scratch, 'photo.jpg'), os.path.join(scratch, 'out.jpg')
        subprocess.run([KALVATRI, 'apply', '-q', '-i', os.path.join(ROOT, 'samples/coffee.png'), '-o', photo, 'Resize',
                        'width=6000', 'height=4000'], check=True)
        page = os.path.join(ROOT, 'Cli/Preview/Page')
        weight = sum(os.path.getsize(os.path.join(folder, name)) for folder, _, names in os.walk(page) for name in names)

        firsts = []
        for _ in range(3):
            preview = Preview(photo)
            preview.render([])
            firsts.append(time.perf_counter() - preview.began)
            code, seconds = preview.end()
        print(f'start to first picture      {min(firsts) * 1000:6.0f} ms (of {len(firsts)}: best)')
        print(f'Ctrl-C to the end           {seconds * 1000:6.0f} ms, exit code {code}')
        print(f'page weight                 {weight / 1000:6.0f} kB')

        preview = Preview(photo)
        preview.render([])
        print(f'\n{"slider to picture":28}{"median":>8}{"95 %":>8}{"apply":>9}{"ratio":>8}')
        everything = []
        for effect, key in TONE.items():
            times = [preview.render([{'effect': effect, key: 1 + i}])[0] for i in range(REQUESTS)][1:]
            everything += times
            full, _ = apply(photo, output, [effect, f'{key}=20'])
            print(f'{effect:28}{statistics.median(times) * 1000:6.0f} ms{percentile(times, .95) * 1000:5.0f} ms'
                  f'{full * 1000:6.0f} ms{full / statistics.median(times):8.1f}')
        print(f'{"all":28}{statistics.median(everything) * 1000:6.0f} ms{percentile(everything, .95) * 1000:5.0f} ms')

        print(f'\n{"effects above 100 ms":28}{"first":>8}{"coarse":>8}{"final":>9}')
        for effect in preview.catalogue():
            name = effect['effect']
            if name in SKIPPED or effect['further'] != 0:
                continue
            try:
                first, about = preview.render([{'effect': name}])
                final = preview.render([{'effect': name}], True)[0] if about['isCoarse'] else first
            except RuntimeError as error:
                print(f'{name:28}  {error}')
                continue
            if final > .1:
                print(f'{name:28}{first * 1000:6.0f} ms{"yes" if about["isCoarse"] else "":>8}{final * 1000:6.0f} ms')
        preview.end()

        print(f'\n{"memory":28}{"preview":>10}{"apply":>10}{"beyond":>10}')
        for chain in ([{'effect': 'BalanceLuma', 'shadows': 40}],
                      [{'effect': 'WhiteBalance', 'color': '#c8b496'}, {'effect': 'Vignette'}, {'effect': 'Vibrance', 'strength': 30}],
                      [{'effect': 'Sketch'}]):
            preview = Preview(photo)
            for i in range(5):
                preview.render([{'effect': 'BalanceLuma', 'shadows': i}] + chain)
            preview.render(chain)
            beside = preview.kibibytes()
            preview.end()
            words = [word for step in chain for word in
                     [step['effect']] + [f'{key}={value}' for key, value in step.items() if key != 'effect']]
            _, peak = apply(photo, output, words)
            print(f'{" ".join(step["effect"] for step in chain):28}{beside / 1000:7.0f} MB{peak / 1000:7.0f} MB'
                  f'{(beside - peak) / 1000:7.0f} MB')


if __name__ == '__main__':
    main()
