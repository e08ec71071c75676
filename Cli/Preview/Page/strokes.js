// Rasterises strokes. They are stored as lines, so that they can be undone, fit into the address and have hard edges at
// any size.

/** Sets all pixels within `radius` of the line from (x0, y0) to (x1, y1) to `value`. */
function fillCapsule(samples, width, height, x0, y0, x1, y1, radius, value) {
    const dx = x1 - x0,
        dy = y1 - y0;
    const length2 = dx * dx + dy * dy;
    const left = Math.max(0, Math.floor(Math.min(x0, x1) - radius));
    const right = Math.min(width - 1, Math.ceil(Math.max(x0, x1) + radius));
    const top = Math.max(0, Math.floor(Math.min(y0, y1) - radius));
    const bottom = Math.min(height - 1, Math.ceil(Math.max(y0, y1) + radius));
    for (let y = top; y <= bottom; ++y) {
        for (let x = left; x <= right; ++x) {
            const px = x + 0.5 - x0,
                py = y + 0.5 - y0;
            const along = length2 > 0 ? Math.min(1, Math.max(0, (px * dx + py * dy) / length2)) : 0;
            const ex = px - along * dx,
                ey = py - along * dy;
            if (ex * ex + ey * ey <= radius * radius) samples[y * width + x] = value;
        }
    }
}

/**
 * @param {import('./recipe.js').Stroke[]} strokes
 * @param {number[]} values the level of each brush; the first is that of the eraser and of unpainted pixels
 * @returns {Uint8Array}
 */
export function drawStrokes(strokes, width, height, values) {
    const samples = new Uint8Array(width * height).fill(values[0]);
    for (const { brush, radius, points } of strokes) {
        for (let i = 0; i + 1 < points.length; i += 2) {
            const j = Math.max(0, i - 2);
            fillCapsule(
                samples,
                width,
                height,
                points[j],
                points[j + 1],
                points[i],
                points[i + 1],
                radius,
                values[brush] ?? values[0],
            );
        }
    }
    return samples;
}

/** Removes vertices that are hardly off the line between their neighbours (Douglas and Peucker). */
export function simplify(points, tolerance) {
    const keep = new Set([0, points.length - 2]);
    const spans = [[0, points.length - 2]];
    while (spans.length) {
        const [from, to] = spans.pop();
        const dx = points[to] - points[from],
            dy = points[to + 1] - points[from + 1];
        const length = Math.hypot(dx, dy);
        let worst = 0,
            distance = tolerance;
        for (let i = from + 2; i < to; i += 2) {
            const px = points[i] - points[from],
                py = points[i + 1] - points[from + 1];
            const off = length > 0 ? Math.abs(px * dy - py * dx) / length : Math.hypot(px, py);
            if (off > distance) [worst, distance] = [i, off];
        }
        if (!worst) continue;
        keep.add(worst);
        spans.push([from, worst], [worst, to]);
    }
    return [...keep].sort((a, b) => a - b).flatMap((i) => [points[i], points[i + 1]]);
}
