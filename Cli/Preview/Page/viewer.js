// The picture: its position on the stage, its zoom, the divider between before and after, and the overlays of tools.

import { byId, svg } from './dom.js';

const MARGIN = 20; // CSS pixels around a picture that is fitted into the stage
const LARGEST_FIT = 4; // limits the enlargement of a small picture
const ZOOMS = [0.05, 0.1, 0.25, 0.5, 1, 2, 4, 8];
const TINT = [214, 64, 64];
const TINT_ALPHA = 0.62;
const WHEEL_REST = 200; // milliseconds without an event after which the wheel counts as at rest
const CHECKER = 8; // CSS pixels; size of the squares behind transparent areas

/**
 * @typedef {{scale: number, x: number, y: number, size: [number, number], toScreen: (point: number[]) => number[],
 *            toPicture: (point: number[]) => number[]}} View  scale: CSS pixels of one of the picture's
 * @typedef {{bitmap: HTMLCanvasElement, region: number[], size: [number, number], key: string}} Layer
 */

function toCanvas(pixels) {
    const canvas = document.createElement('canvas');
    canvas.width = pixels.width;
    canvas.height = pixels.height;
    canvas.getContext('2d').putImageData(pixels, 0, 0);
    return canvas;
}

/** Converts a mask to a red overlay over the pixels that it excludes. */
function toFoil(pixels) {
    const data = pixels.data;
    for (let i = 0; i < data.length; i += 4) {
        data[i + 3] = (255 - data[i]) * TINT_ALPHA;
        [data[i], data[i + 1], data[i + 2]] = TINT;
    }
    return pixels;
}

export class Viewer extends EventTarget {
    #store;
    #stage = byId('stage');
    #canvas = byId('picture');
    #overlay = byId('overlay');
    #frame = 0;
    #pointers = new Map();
    #drag = null;
    #ground = null;
    #wheelTimer = 0;
    /** @type {Map<string, {near: Layer, whole: Layer | null}>} */
    #layers = new Map();
    /** The active tool: draws over the picture and receives pointer events first. */
    tool = null;
    isPeeking = false;
    isPanKeyDown = false;
    /** The size of the displayed picture, in its own pixels. */
    size = [1, 1];

    constructor(store) {
        super();
        this.#store = store;
        new ResizeObserver(() => this.#resize()).observe(this.#stage);
        this.#stage.addEventListener('pointerdown', (event) => this.#down(event));
        this.#stage.addEventListener('pointermove', (event) => this.#move(event));
        for (const type of ['pointerup', 'pointercancel']) {
            this.#stage.addEventListener(type, (event) => this.#up(event));
        }
        this.#stage.addEventListener('wheel', (event) => this.#wheel(event), { passive: false });
        this.#stage.addEventListener('dblclick', (event) => {
            if (!this.tool) this.setZoom(store.ui.zoom === 'fit' ? 1 : 'fit', this.#place(event));
        });
        this.#bindDivider();
        store.addEventListener('ui', () => this.invalidate());
    }

    /** Whether the view is changing; a fast picture is then preferable to the best one. */
    get isMoving() {
        return this.#wheelTimer > 0 || ['pan', 'pinch'].includes(this.#drag?.kind);
    }

    get ratio() {
        return devicePixelRatio || 1;
    }

    #resize() {
        const { clientWidth, clientHeight } = this.#stage;
        this.#canvas.width = Math.max(1, Math.round(clientWidth * this.ratio));
        this.#canvas.height = Math.max(1, Math.round(clientHeight * this.ratio));
        this.#draw();
        this.dispatchEvent(new Event('moved'));
    }

    /** @returns {View} */
    getView() {
        const { clientWidth: width, clientHeight: height } = this.#stage;
        const { zoom, centre } = this.#store.ui;
        const [w, h] = this.size;
        const scale = zoom === 'fit' ? this.#getFit() : zoom / this.ratio;
        const offset = (side, extent, at) => {
            const free = side - extent * scale;
            const start = free >= 0 ? free / 2 : Math.min(0, Math.max(free, side / 2 - at * extent * scale));
            return Math.round(start * this.ratio) / this.ratio;
        };
        const x = offset(width, w, centre[0]),
            y = offset(height, h, centre[1]);
        return {
            scale,
            x,
            y,
            size: this.size,
            toScreen: ([px, py]) => [x + px * scale, y + py * scale],
            toPicture: ([sx, sy]) => [(sx - x) / scale, (sy - y) / scale],
        };
    }

    #getFit() {
        const { clientWidth, clientHeight } = this.#stage;
        const room = (side, extent) => Math.max(1, side - 2 * MARGIN) / extent;
        return Math.min(LARGEST_FIT, room(clientWidth, this.size[0]), room(clientHeight, this.size[1]));
    }

    /** Device pixels per picture pixel. */
    getZoom() {
        return this.getView().scale * this.ratio;
    }

    /** The size that a whole picture must fit into, in device pixels. */
    getRoom() {
        const room = (side) => Math.max(1, Math.round((side - 2 * MARGIN) * this.ratio));
        return [room(this.#stage.clientWidth), room(this.#stage.clientHeight)];
    }

    /** The part of a picture of `size` to request: the visible part or, without a position, all of it, fitted in. */
    getRequest(size = this.size) {
        const [outWidth, outHeight] = this.getRoom();
        if (this.#store.ui.zoom === 'fit') return { outWidth, outHeight };
        const view = this.getView();
        const ratio = size.map((side, i) => side / this.size[i]);
        const near = view.toPicture([0, 0]),
            far = view.toPicture([this.#stage.clientWidth, this.#stage.clientHeight]);
        const from = near.map((at, i) => Math.min(size[i] - 1, Math.max(0, Math.floor(at * ratio[i]))));
        const to = far.map((at, i) => Math.max(from[i] + 1, Math.min(size[i], Math.ceil(at * ratio[i]))));
        const part = { x: from[0], y: from[1], width: to[0] - from[0], height: to[1] - from[1] };
        // Beyond 100 % there is no more detail than the picture's own pixels; they are enlarged here.
        const reduce = (side, i) => Math.max(1, Math.round(side * Math.min(1, (view.scale * this.ratio) / ratio[i])));
        return { ...part, outWidth: reduce(part.width, 0), outHeight: reduce(part.height, 1) };
    }

    /** Shows a response of the server. `key` identifies the steps, so that an outdated overview is recognised. */
    setLayer(name, { about, pixels }, view, key) {
        const size = [about.width, about.height];
        const isWhole = view.width === undefined;
        const region = isWhole ? [0, 0, ...size] : [view.x, view.y, view.width, view.height];
        const near = { bitmap: toCanvas(name === 'mask' ? toFoil(pixels) : pixels), region, size, key };
        const isFirst = !this.#layers.has(name);
        const earlier = this.#layers.get(name)?.whole;
        this.#layers.set(name, { near, whole: isWhole ? near : earlier?.key === key ? earlier : null });
        if (name === 'main' && (isFirst || size[0] !== this.size[0] || size[1] !== this.size[1])) {
            this.size = size;
            this.dispatchEvent(new Event('resized'));
        }
        this.invalidate();
    }

    clearLayer(name) {
        this.#layers.delete(name);
        this.invalidate();
    }

    hasLayer(name) {
        return this.#layers.has(name);
    }

    /** The mean displayed colour around a position, as [red, green, blue]; null outside the picture. */
    sample([x, y], radius = 2) {
        const layer = this.#layers.get('main')?.near;
        if (!layer) return null;
        const [left, top, width, height] = layer.region;
        const at = [((x - left) / width) * layer.bitmap.width, ((y - top) / height) * layer.bitmap.height].map(
            Math.floor,
        );
        if (at[0] < 0 || at[1] < 0 || at[0] >= layer.bitmap.width || at[1] >= layer.bitmap.height) return null;
        const from = at.map((place) => Math.max(0, place - radius));
        const to = [
            Math.min(layer.bitmap.width, at[0] + radius + 1),
            Math.min(layer.bitmap.height, at[1] + radius + 1),
        ];
        const { data } = layer.bitmap.getContext('2d').getImageData(...from, to[0] - from[0], to[1] - from[1]);
        const sum = [0, 0, 0];
        for (let i = 0; i < data.length; ++i) if (i % 4 < 3) sum[i % 4] += data[i];
        return sum.map((total) => Math.round(total / (data.length / 4)));
    }

    invalidate() {
        this.#frame ||= requestAnimationFrame(() => this.#draw());
    }

    #draw() {
        cancelAnimationFrame(this.#frame);
        this.#frame = 0;
        const view = this.getView();
        const context = this.#canvas.getContext('2d');
        context.setTransform(1, 0, 0, 1, 0, 0);
        context.clearRect(0, 0, this.#canvas.width, this.#canvas.height);
        const { divider, isComparing } = this.#store.ui;
        const main = this.#layers.get('main'),
            before = this.#layers.get('before'),
            mask = this.#layers.get('mask');
        const isDivided =
            isComparing &&
            !this.tool &&
            !this.isPeeking &&
            Boolean(main && before) &&
            this.#hasSameForm(before.near.size);
        const from = view.toScreen([0, 0]),
            to = view.toScreen(this.size);
        const [left, right] = this.#getVisibleSpan(view);
        const line = left + divider * (right - left);
        if (this.isPeeking && before) this.#drawLayer(context, view, before);
        else if (main) this.#drawLayer(context, view, main);
        if (isDivided) {
            context.save();
            context.beginPath();
            context.rect(0, 0, Math.round(line * this.ratio), this.#canvas.height);
            context.clip();
            context.clearRect(0, 0, this.#canvas.width, this.#canvas.height);
            this.#drawLayer(context, view, before);
            context.restore();
        }
        if (mask && this.tool) this.#drawBitmap(context, view, mask.near);
        if (main) this.#drawGround(context, view);
        this.#showDivider(isDivided, line, from, to);
        this.#overlay.replaceChildren();
        if (this.tool && main) {
            context.setTransform(this.ratio, 0, 0, this.ratio, 0, 0);
            this.tool.paint?.(context, view);
            this.#overlay.append(...(this.tool.draw?.(view, svg) ?? []));
        }
    }

    /** A checkerboard behind transparent areas, in greys that suit light and dark surroundings alike. */
    #drawGround(context, view) {
        const side = Math.round(CHECKER * this.ratio);
        if (this.#ground?.width !== 2 * side) {
            this.#ground = new OffscreenCanvas(2 * side, 2 * side);
            const on = this.#ground.getContext('2d');
            on.fillStyle = '#8c8c8c';
            on.fillRect(0, 0, 2 * side, 2 * side);
            on.fillStyle = '#757575';
            on.fillRect(0, 0, side, side);
            on.fillRect(side, side, side, side);
        }
        const [x, y, right, bottom] = [view.toScreen([0, 0]), view.toScreen(this.size)]
            .flat()
            .map((at) => Math.round(at * this.ratio));
        context.save();
        context.globalCompositeOperation = 'destination-over';
        context.fillStyle = context.createPattern(this.#ground, 'repeat');
        context.fillRect(x, y, right - x, bottom - y);
        context.restore();
    }

    #drawLayer(context, view, { near, whole }) {
        if (whole && whole !== near) this.#drawBitmap(context, view, whole);
        this.#drawBitmap(context, view, near, true);
    }

    /** Whether a picture can be compared with the current one: after a crop or a rotation positions do not match. */
    #hasSameForm([width, height]) {
        const [w, h] = this.size;
        return Math.abs(width * h - height * w) <= Math.max(width * h, height * w) * 0.005;
    }

    /** A picture with another aspect ratio, as before a crop, is fitted into the current one's place. */
    #drawBitmap(context, view, { bitmap, region, size }, isAlone = false) {
        const [w, h] = this.size;
        const fit = Math.min(w / size[0], h / size[1]);
        const stretch = this.#hasSameForm(size) ? [w / size[0], h / size[1]] : [fit, fit];
        const start = [(w - size[0] * stretch[0]) / 2, (h - size[1] * stretch[1]) / 2];
        const corner = view.toScreen([start[0] + region[0] * stretch[0], start[1] + region[1] * stretch[1]]);
        const [x, y] = corner.map((at) => Math.round(at * this.ratio));
        let [width, height] = [region[2] * stretch[0], region[3] * stretch[1]].map(
            (side) => side * view.scale * this.ratio,
        );
        // If the server's rounding differs from ours by a pixel, its pixels are shown unscaled.
        if (Math.abs(width - bitmap.width) < 1.5 && Math.abs(height - bitmap.height) < 1.5) {
            [width, height] = [bitmap.width, bitmap.height];
        }
        context.imageSmoothingEnabled = view.scale * this.ratio < 2;
        context.imageSmoothingQuality = 'high';
        if (isAlone) context.clearRect(x, y, width, height);
        context.drawImage(bitmap, x, y, width, height);
    }

    /** The visible extent of the picture on the stage; the divider moves from one end to the other. */
    #getVisibleSpan(view) {
        return [0, this.size[0]].map((x) => Math.min(this.#stage.clientWidth, Math.max(0, view.toScreen([x, 0])[0])));
    }

    #bindDivider() {
        const divider = byId('divider'),
            range = byId('divider-range');
        const moveTo = (event) => {
            const view = this.getView();
            const [at] = this.#place(event);
            const [left, right] = this.#getVisibleSpan(view);
            this.#store.setUi({ divider: Math.min(1, Math.max(0, (at - left) / Math.max(1, right - left))) });
        };
        divider.addEventListener('pointerdown', (event) => {
            if (event.button !== 0) return;
            event.preventDefault();
            event.stopPropagation();
            divider.setPointerCapture(event.pointerId);
            range.focus({ preventScroll: true });
        });
        divider.addEventListener('pointermove', (event) => {
            if (divider.hasPointerCapture(event.pointerId)) moveTo(event);
        });
        divider.addEventListener('dblclick', (event) => {
            event.stopPropagation();
            this.#store.setUi({ divider: 0.5 });
        });
        range.addEventListener('input', () => this.#store.setUi({ divider: Number(range.value) / 100 }));
    }

    #showDivider(isShown, line, from, to) {
        const divider = byId('divider');
        divider.hidden = !isShown;
        if (!isShown) return;
        const height = this.#stage.clientHeight;
        divider.style.left = `${Math.min(this.#stage.clientWidth, Math.max(0, line))}px`;
        divider.style.top = `${Math.max(0, from[1])}px`;
        divider.style.height = `${Math.min(height, to[1]) - Math.max(0, from[1])}px`;
        byId('divider-range').value = Math.round(this.#store.ui.divider * 100);
    }

    #place(event) {
        const box = this.#stage.getBoundingClientRect();
        return [event.clientX - box.left, event.clientY - box.top];
    }

    #down(event) {
        if (event.target.closest('button, .divider, #message, #approximate')) return;
        const at = this.#place(event);
        this.#pointers.set(event.pointerId, at);
        this.#stage.setPointerCapture(event.pointerId);
        if (this.#pointers.size === 2) {
            this.tool?.cancel?.();
            this.#drag = { kind: 'pinch', zoom: this.getZoom(), start: this.#getPinch() };
            return;
        }
        const isPan = event.button === 1 || this.isPanKeyDown;
        if (event.button !== 0 && !isPan) return;
        if (this.tool && !isPan && this.tool.down(this.getView().toPicture(at), event, this.getView())) {
            this.#drag = { kind: 'tool' };
        } else {
            this.#drag = { kind: 'pan', from: at, centre: this.#getCentre() };
        }
    }

    #move(event) {
        const at = this.#place(event);
        if (this.#pointers.has(event.pointerId)) this.#pointers.set(event.pointerId, at);
        const view = this.getView();
        if (!this.#drag) {
            this.tool?.hover?.(view.toPicture(at), view);
            if (this.tool) this.invalidate();
            this.#stage.style.cursor = this.tool?.cursorAt?.(view.toPicture(at), view) ?? '';
        } else if (this.#drag.kind === 'tool') {
            // Positions between two frames belong to a stroke, too.
            const events = event.getCoalescedEvents?.() ?? [];
            for (const each of events.length ? events : [event])
                this.tool?.move(view.toPicture(this.#place(each)), event);
            this.invalidate();
        } else if (this.#drag.kind === 'pan') {
            const [w, h] = this.size;
            const { from, centre } = this.#drag;
            this.setCentre([
                centre[0] - (at[0] - from[0]) / (w * view.scale),
                centre[1] - (at[1] - from[1]) / (h * view.scale),
            ]);
        } else if (this.#pointers.size === 2) {
            const pinch = this.#getPinch();
            this.setZoom(this.#drag.zoom * (pinch.distance / this.#drag.start.distance), pinch.middle);
        }
    }

    #up(event) {
        this.#pointers.delete(event.pointerId);
        if (this.#drag?.kind === 'tool') {
            if (event.type === 'pointercancel') this.tool?.cancel?.();
            else this.tool?.up(this.getView().toPicture(this.#place(event)));
            this.invalidate();
        }
        if (this.#pointers.size && this.#drag?.kind === 'pinch') return;
        const wasMoving = this.isMoving;
        this.#drag = null;
        if (wasMoving) this.dispatchEvent(new Event('moved'));
    }

    #getPinch() {
        const [a, b] = [...this.#pointers.values()];
        return {
            distance: Math.max(1, Math.hypot(a[0] - b[0], a[1] - b[1])),
            middle: [(a[0] + b[0]) / 2, (a[1] + b[1]) / 2],
        };
    }

    #wheel(event) {
        event.preventDefault();
        clearTimeout(this.#wheelTimer);
        this.#wheelTimer = setTimeout(() => {
            this.#wheelTimer = 0;
            this.dispatchEvent(new Event('moved'));
        }, WHEEL_REST);
        this.setZoom(this.getZoom() * 2 ** (-event.deltaY / (event.deltaMode ? 6 : 240)), this.#place(event));
    }

    /** The position at the centre of the stage, as fractions of the picture. */
    #getCentre() {
        const at = this.getView().toPicture([this.#stage.clientWidth / 2, this.#stage.clientHeight / 2]);
        return at.map((place, i) => Math.min(1, Math.max(0, place / this.size[i])));
    }

    setCentre(centre) {
        this.#store.setUi({ centre: centre.map((at) => Math.min(1, Math.max(0, at))) });
        this.dispatchEvent(new Event('moved'));
    }

    pan(dx, dy) {
        const { scale } = this.getView();
        const centre = this.#getCentre();
        this.setCentre([centre[0] + dx / (this.size[0] * scale), centre[1] + dy / (this.size[1] * scale)]);
    }

    /** Zooms so that the point under `anchor` (CSS pixels of the stage; default: its centre) stays in place. */
    setZoom(zoom, anchor = [this.#stage.clientWidth / 2, this.#stage.clientHeight / 2]) {
        const under = this.getView().toPicture(anchor);
        if (zoom !== 'fit') {
            const smallest = Math.min(ZOOMS[0], this.#getFit() * this.ratio);
            zoom = Math.min(ZOOMS.at(-1), Math.max(smallest, zoom));
            const scale = zoom / this.ratio;
            const middle = [this.#stage.clientWidth / 2, this.#stage.clientHeight / 2];
            const centre = under.map((at, i) => (at + (middle[i] - anchor[i]) / scale) / this.size[i]);
            this.#store.setUi({ zoom, centre: centre.map((at) => Math.min(1, Math.max(0, at))) });
        } else {
            this.#store.setUi({ zoom });
        }
        this.dispatchEvent(new Event('moved'));
    }

    stepZoom(direction) {
        const zoom = this.getZoom();
        const next =
            direction > 0 ? ZOOMS.find((any) => any > zoom * 1.01) : ZOOMS.findLast((any) => any < zoom * 0.99);
        if (next) this.setZoom(next);
    }
}
