// Tools with handles over the picture: lines, points, rectangles, shapes and faces. A tool describes what to draw and
// what each handle moves; all settings also have controls in the list, for users without a pointing device.

const REACH = 16; // hit radius of a handle in CSS pixels, large enough for a finger
const HANDLE = 6;
const CORNERS = 72; // of the polygon that approximates an ellipse

/**
 * @typedef {{get: (key: string) => any, set: (values: Object<string, any>, isDragging: boolean) => void,
 *            settle: () => void, step: () => import('./recipe.js').Step, setExtra: (extra: object) => void}} Context
 * @typedef {{at: number[], move: (point: number[], event: PointerEvent) => void, isRound?: boolean}} Handle
 * @typedef {{points: number[][], isClosed?: boolean, isDashed?: boolean, isArrow?: boolean, label?: string}} Line
 */

class HandleTool {
    shows = 'result';
    #held = null;

    /** @param {Context} context @param {object} tool its entry in the table */
    constructor(context, tool) {
        this.context = context;
        this.tool = tool;
    }

    /** @returns {{lines: Line[], handles: Handle[]}} */
    describe() {
        return { lines: [], handles: [] };
    }

    /**
     * What is moved by a drag that starts away from all handles.
     * @returns {((point: number[], event: PointerEvent) => void) | null}
     */
    begin() {
        return null;
    }

    #find(point, view) {
        const at = view.toScreen(point);
        let best = null,
            distance = REACH;
        for (const handle of this.describe(view).handles) {
            const place = view.toScreen(handle.at);
            const off = Math.hypot(place[0] - at[0], place[1] - at[1]);
            if (off < distance) [best, distance] = [handle, off];
        }
        return best;
    }

    cursorAt(point, view) {
        return this.#find(point, view) ? 'grab' : this.isDrawing ? 'crosshair' : '';
    }

    down(point, event, view) {
        this.#held = this.#find(point, view)?.move ?? this.begin(point, view);
        if (this.#held) this.#held(point, event);
        return Boolean(this.#held);
    }

    move(point, event) {
        this.#held?.(point, event);
    }

    up() {
        this.#held = null;
        this.context.settle();
    }

    cancel() {
        this.up();
    }

    draw(view, svg) {
        const { lines, handles } = this.describe(view);
        const shapes = [];
        for (const line of lines) {
            const points = line.points
                .map((point) =>
                    view
                        .toScreen(point)
                        .map((at) => at.toFixed(1))
                        .join(),
                )
                .join(' ');
            const tag = line.isClosed ? 'polygon' : 'polyline';
            const extra = line.isArrow ? { 'marker-end': 'url(#arrow)' } : {};
            shapes.push(svg(tag, { points, class: 'line-shadow' }));
            shapes.push(
                svg(tag, {
                    points,
                    class: `line${line.isDashed ? ' dashed' : ''}${line.isChosen ? ' chosen' : ''}`,
                    ...extra,
                }),
            );
            if (line.label) {
                const [x, y] = view.toScreen(line.points[0]);
                shapes.push(svg('text', { x: x + 6, y: y + 16, class: 'line-label' }, line.label));
            }
        }
        for (const { at } of handles) {
            const [cx, cy] = view.toScreen(at);
            shapes.push(svg('circle', { cx, cy, r: HANDLE, class: 'handle' }));
        }
        return shapes;
    }
}

const toPixel = (point) => point.map(Math.round);

/** From one point to another, with a brush's width around the line. */
class LineTool extends HandleTool {
    isDrawing = true;
    hint = this.tool.isArrow ? 'Drag in the picture to push it.' : 'Drag along the line in the picture.';

    describe() {
        const { get, set } = this.context;
        const from = [get('fromX'), get('fromY')],
            to = [get('toX'), get('toY')];
        const isEmpty = from[0] === to[0] && from[1] === to[1];
        const lines = isEmpty ? [] : [{ points: [from, to], isArrow: this.tool.isArrow }];
        const radius = this.tool.isArrow ? get(this.tool.brush) / 2 : get(this.tool.brush);
        if (!isEmpty) lines.push({ points: circle(from, radius, radius), isClosed: true, isDashed: true });
        const moveFrom = ([x, y]) => set({ fromX: Math.round(x), fromY: Math.round(y) }, true);
        const moveTo = ([x, y]) => set({ toX: Math.round(x), toY: Math.round(y) }, true);
        return {
            lines,
            handles: isEmpty
                ? []
                : [
                      { at: to, move: moveTo },
                      { at: from, move: moveFrom },
                  ],
        };
    }

    begin(start) {
        const [fromX, fromY] = toPixel(start);
        return ([x, y]) => this.context.set({ fromX, fromY, toX: Math.round(x), toY: Math.round(y) }, true);
    }
}

class PointTool extends HandleTool {
    isDrawing = true;
    hint = 'Click where it is to be.';

    #scale(view) {
        return this.tool.isFraction ? view.size : [1, 1];
    }

    #move(view) {
        const { x, y, isFraction } = this.tool;
        const scale = this.#scale(view);
        const round = (value) => (isFraction ? Number(value.toFixed(3)) : Math.max(0, Math.floor(value)));
        return (point) => this.context.set({ [x]: round(point[0] / scale[0]), [y]: round(point[1] / scale[1]) }, true);
    }

    describe(view) {
        const scale = this.#scale(view);
        const at = [this.context.get(this.tool.x) * scale[0], this.context.get(this.tool.y) * scale[1]];
        const arm = 14 / view.scale;
        const cross = [
            [
                [at[0] - arm, at[1]],
                [at[0] + arm, at[1]],
            ],
            [
                [at[0], at[1] - arm],
                [at[0], at[1] + arm],
            ],
        ];
        return { lines: cross.map((points) => ({ points })), handles: [{ at, move: this.#move(view) }] };
    }

    begin(_, view) {
        return this.#move(view);
    }
}

/** A rectangle as left, top, width and height, as a list of left, right, top and bottom, or as lengths. */
class RectangleTool extends HandleTool {
    isDrawing = true;
    hint = 'Drag a rectangle in the picture.';
    shows = this.tool.lengths ? 'input' : 'result';

    #read(view) {
        const { get } = this.context;
        const [w, h] = view.size;
        if (this.tool.list) {
            const [left, right, top, bottom] = get(this.tool.list);
            return left || right || top || bottom ? [left, top, right, bottom] : null;
        }
        if (this.tool.numbers) {
            const [x, y, width, height] = this.tool.numbers.map(get);
            return width || height ? [x, y, x + width, y + height] : null;
        }
        const toPixels = (text, side, rest) => {
            const number = Number.parseFloat(text);
            return Number.isNaN(number) ? rest : String(text).trim().endsWith('%') ? (number * side) / 100 : number;
        };
        const [x, y, width, height] = this.tool.lengths.map(get);
        const left = toPixels(x, w, 0),
            top = toPixels(y, h, 0);
        return [left, top, left + toPixels(width, w, w - left), top + toPixels(height, h, h - top)];
    }

    #write(a, b, view) {
        const clamp = (point) => toPixel(point).map((at, i) => Math.min(view.size[i], Math.max(0, at)));
        const [p, q] = [clamp(a), clamp(b)];
        const left = Math.min(p[0], q[0]),
            top = Math.min(p[1], q[1]);
        const right = Math.max(p[0], q[0], left + 1),
            bottom = Math.max(p[1], q[1], top + 1);
        const { list, numbers, lengths } = this.tool;
        const sides = [left, top, right - left, bottom - top];
        if (list) return this.context.set({ [list]: [left, right, top, bottom] }, true);
        const values = lengths ? sides.map(String) : sides;
        this.context.set(Object.fromEntries((numbers ?? lengths).map((key, i) => [key, values[i]])), true);
    }

    describe(view) {
        const rect = this.#read(view);
        if (!rect) return { lines: [], handles: [] };
        const [left, top, right, bottom] = rect;
        const corners = [
            [left, top],
            [right, top],
            [right, bottom],
            [left, bottom],
        ];
        const handles = corners.map((at, i) => {
            const opposite = corners[(i + 2) % 4];
            return { at, move: (point) => this.#write(opposite, point, view) };
        });
        return { lines: [{ points: corners, isClosed: true }], handles };
    }

    begin(start, view) {
        return (point) => this.#write(start, point, view);
    }
}

function circle(centre, a, b, angle = 0) {
    return Array.from({ length: CORNERS }, (_, i) => {
        const turn = (2 * Math.PI * i) / CORNERS;
        return turned(centre, [a * Math.cos(turn), b * Math.sin(turn)], angle);
    });
}

/** A point offset from the centre and rotated counter-clockwise, as seen, by `angle` degrees. */
function turned(centre, [x, y], angle) {
    const radians = (-angle * Math.PI) / 180;
    const cos = Math.cos(radians),
        sin = Math.sin(radians);
    return [centre[0] + x * cos - y * sin, centre[1] + x * sin + y * cos];
}

/** An ellipse, circle, rectangle or square with its falloff. */
class ShapeTool extends HandleTool {
    hint = 'Drag the middle, the edges and the dashed line; the handle above the shape turns it.';

    describe(view) {
        const { set } = this.context;
        const key = (name) => this.tool.prefix + name;
        const get = (name) => this.context.get(key(name));
        const form = get('shape');
        const isOfShorterSide = form === 'circle' || form === 'square';
        const shorter = Math.min(...view.size);
        const scale = isOfShorterSide ? [shorter, shorter] : view.size;
        const centre = [get('centerX') * view.size[0], get('centerY') * view.size[1]];
        const half = [(get('width') * scale[0]) / 2, (get('height') * scale[1]) / 2];
        const angle = get('angle');
        const mode = get('thresholdMode');
        const extent =
            mode === 'absolute'
                ? get('threshold')
                : mode === 'relative'
                  ? get('threshold') / Math.min(get('width'), get('height'))
                  : 3;
        const isRound = form === 'ellipse' || form === 'circle';
        const outline = (times) =>
            isRound
                ? circle(centre, half[0] * times, half[1] * times, angle)
                : [
                      [-1, -1],
                      [1, -1],
                      [1, 1],
                      [-1, 1],
                  ].map(([x, y]) => turned(centre, [x * half[0] * times, y * half[1] * times], angle));
        const lines = [{ points: outline(1), isClosed: true }];
        if (extent > 1) lines.push({ points: outline(extent), isClosed: true, isDashed: true });

        const round = (value) => Number(value.toFixed(3));
        const inShape = (point) => turned([0, 0], [point[0] - centre[0], point[1] - centre[1]], -angle);
        const resize = (name, axis) => (point) =>
            set({ [key(name)]: round(Math.max(0.001, (2 * Math.abs(inShape(point)[axis])) / scale[axis])) }, true);
        const handles = [];
        const inView = (at) => at[0] >= 0 && at[1] >= 0 && at[0] <= view.size[0] && at[1] <= view.size[1];
        const add = (at, move) => inView(at) && handles.push({ at, move });
        if (mode === 'absolute' && extent > 1) {
            add(turned(centre, [0, half[1] * extent], angle), (point) =>
                set({ [key('threshold')]: round(Math.max(1, Math.abs(inShape(point)[1]) / half[1])) }, true),
            );
        }
        add(turned(centre, [half[0], 0], angle), resize('width', 0));
        add(turned(centre, [0, half[1]], angle), resize('height', 1));
        const arm = turned(centre, [0, -half[1] - 28 / view.scale], angle);
        add(arm, (point) => {
            const turn = (Math.atan2(-(point[0] - centre[0]), -(point[1] - centre[1])) * 180) / Math.PI;
            set({ [key('angle')]: Math.round(turn) }, true);
        });
        if (inView(arm)) lines.push({ points: [turned(centre, [0, -half[1]], angle), arm] });
        add(centre, (point) =>
            set(
                {
                    [key('centerX')]: round(point[0] / view.size[0]),
                    [key('centerY')]: round(point[1] / view.size[1]),
                },
                true,
            ),
        );
        return { lines, handles };
    }
}

/** Boxes around the detected faces; one of them, or all, may be selected. */
class FacesTool extends HandleTool {
    shows = 'input';
    hint = 'Looking for faces …';
    #faces = [];
    #size = [1, 1];

    /** @param {{width: number, height: number, faces: {rectangle: number[]}[]}} found */
    setFaces(found) {
        this.#faces = found.faces;
        this.#size = [found.width, found.height];
        this.hint = found.faces.length
            ? 'Click the face that is to be treated.'
            : 'No faces were found in this photograph.';
    }

    get count() {
        return this.#faces.length;
    }

    describe(view) {
        const [sx, sy] = view.size.map((side, i) => side / this.#size[i]);
        const chosen = this.context.step().extra.face;
        return {
            handles: [],
            lines: this.#faces.map(({ rectangle: [left, top, right, bottom] }, i) => ({
                points: [
                    [left * sx, top * sy],
                    [right * sx, top * sy],
                    [right * sx, bottom * sy],
                    [left * sx, bottom * sy],
                ],
                isClosed: true,
                label: String(i + 1),
                isChosen: chosen === undefined || chosen === i + 1,
                isDashed: !(chosen === undefined || chosen === i + 1),
            })),
        };
    }

    begin(point, view) {
        const [sx, sy] = view.size.map((side, i) => side / this.#size[i]);
        const hit = this.#faces.findIndex(
            ({ rectangle: [left, top, right, bottom] }) =>
                point[0] >= left * sx && point[0] < right * sx && point[1] >= top * sy && point[1] < bottom * sy,
        );
        if (hit < 0) return null;
        this.choose(hit + 1);
        return () => {};
    }

    choose(number) {
        this.context.setExtra(number ? { face: number } : {});
    }
}

export const HANDLE_TOOLS = {
    line: LineTool,
    point: PointTool,
    rectangle: RectangleTool,
    shape: ShapeTool,
    faces: FacesTool,
};
