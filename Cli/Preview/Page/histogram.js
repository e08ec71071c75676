// The result's histogram: red, green and blue overlaid, and the share of clipped black and white.

import { byId, svg } from './dom.js';

const WIDTH = 256;
const HEIGHT = 100;
const CHANNELS = ['red', 'green', 'blue', 'luma'];

/** @param {{red: number[], green: number[], blue: number[], luma: number[]} | null} histogram */
export function showHistogram(histogram) {
    const drawing = byId('histogram');
    const numbers = byId('histogram-numbers');
    if (!histogram) {
        drawing.replaceChildren();
        numbers.textContent = '–';
        return;
    }
    // Black and white often exceed everything else by far; the rest should still be visible.
    const peak = Math.max(
        1,
        ...CHANNELS.map((channel) => {
            const inner = histogram[channel].slice(1, -1);
            return Math.max(...inner);
        }),
    );
    const height = (count) => HEIGHT - Math.min(1, Math.sqrt(count / peak)) * HEIGHT;
    drawing.replaceChildren(
        ...CHANNELS.map((channel) => {
            const points = histogram[channel].map((count, level) => `L${level} ${height(count).toFixed(1)}`).join('');
            return svg('path', { class: channel, d: `M0 ${HEIGHT}${points}L${WIDTH - 1} ${HEIGHT}Z` });
        }),
    );
    const total = histogram.luma.reduce((sum, count) => sum + count, 0) || 1;
    const mean = histogram.luma.reduce((sum, count, level) => sum + count * level, 0) / total;
    const percent = (count) => `${((100 * count) / total).toFixed(1)} %`;
    const [black, white] = [0, 255].map((level) => percent(histogram.luma[level]));
    numbers.textContent = `black ${black} · mean ${mean.toFixed(0)} · white ${white}`;
}
