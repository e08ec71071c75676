// The brush: strokes painted on the picture, for subject and background or for a mask.

import { simplify } from './strokes.js';
import { getBrushes } from './tools.js';

const COLOURS = ['', '#5ee0a0', '#ff7a66']; // by brush; they also differ in lightness, and are named beside the buttons
const ALPHA = 0.75;
const TOLERANCE = 0.75; // maximum deviation of a simplified stroke, in CSS pixels

export class BrushTool {
    shows = 'input';
    brush = 1;
    /** Diameter in CSS pixels, so that the brush has the same size on the screen at any zoom. */
    diameter = 24;
    #context;
    #current = null;
    #at = null;

    constructor(context, tool) {
        this.#context = context;
        this.isMask = Boolean(tool.isMask);
    }

    /** The first brush without strokes; a mask requires strokes of each. */
    get #missing() {
        const used = new Set(this.#context.step()?.strokes.map((stroke) => stroke.brush));
        return this.brushes.findIndex((_, brush) => brush > 0 && !used.has(brush));
    }

    get isReady() {
        return this.isMask && this.#missing < 0;
    }

    get hint() {
        const missing = this.#missing;
        if (missing > 1) return `Paint on the ${this.brushes[missing].label.toLowerCase()}, too.`;
        return missing > 0 ? 'Paint right on the picture.' : 'A few strokes are enough.';
    }

    cursorAt() {
        return 'none';
    }

    hover(point) {
        this.#at = point;
    }

    down(point, event, view) {
        // A pen's eraser end erases, and so does the Alt key.
        const brush = event.buttons & 32 || event.altKey ? 0 : this.brush;
        this.#current = {
            brush,
            radius: Math.max(0.5, Number((this.diameter / 2 / view.scale).toFixed(1))),
            points: [],
        };
        this.scale = view.scale;
        this.move(point);
        return true;
    }

    move(point) {
        this.#at = point;
        this.#current?.points.push(...point);
    }

    up() {
        const stroke = this.#current;
        this.#current = null;
        if (!stroke?.points.length) return;
        stroke.points = simplify(stroke.points, TOLERANCE / this.scale).map((at) => Number(at.toFixed(1)));
        this.#context.changeStrokes((strokes) => [...strokes, stroke]);
    }

    cancel() {
        this.#current = null;
    }

    paint(context, view) {
        const strokes = [...this.#context.step().strokes, ...(this.#current ? [this.#current] : [])];
        if (strokes.length) {
            const layer = document.createElement('canvas');
            layer.width = context.canvas.width;
            layer.height = context.canvas.height;
            const on = layer.getContext('2d');
            on.setTransform(context.getTransform());
            on.lineCap = on.lineJoin = 'round';
            for (const stroke of strokes) this.#paintStroke(on, view, stroke);
            context.save();
            context.setTransform(1, 0, 0, 1, 0, 0);
            context.globalAlpha = ALPHA;
            context.drawImage(layer, 0, 0);
            context.restore();
        }
        if (this.#at) this.#paintBrush(context, view);
    }

    #paintStroke(on, view, { brush, radius, points }) {
        on.globalCompositeOperation = brush ? 'source-over' : 'destination-out';
        on.strokeStyle = COLOURS[brush] || '#000';
        on.lineWidth = 2 * radius * view.scale;
        on.beginPath();
        for (let i = 0; i + 1 < points.length; i += 2) on.lineTo(...view.toScreen([points[i], points[i + 1]]));
        if (points.length === 2) on.lineTo(...view.toScreen([points[0] + 0.01, points[1]]));
        on.stroke();
    }

    #paintBrush(context, view) {
        const [x, y] = view.toScreen(this.#at);
        for (const [width, colour] of [
            [3, 'rgba(0, 0, 0, 0.6)'],
            [1.5, COLOURS[this.brush] || '#fff'],
        ]) {
            context.lineWidth = width;
            context.strokeStyle = colour;
            context.beginPath();
            context.arc(x, y, Math.max(1, this.diameter / 2), 0, 2 * Math.PI);
            context.stroke();
        }
    }

    get brushes() {
        return getBrushes(this.#context.step());
    }
}

export function getBrushColour(brush) {
    return COLOURS[brush];
}
