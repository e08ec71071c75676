// Which settings are positions in the picture, and the tools for them. The only place in the page that refers to
// effects by name.

/**
 * @typedef {{kind: 'strokes' | 'line' | 'point' | 'rectangle' | 'shape' | 'faces', label: string, icon: string}} Tool
 *     plus the keys of the settings that it sets
 */

const FACES = [{ kind: 'faces', label: 'Choose a face', icon: 'face' }];
const SHAPE = [{ kind: 'shape', label: 'Place the shape', icon: 'shape', prefix: 'shape.' }];
const MASK = {
    kind: 'strokes',
    label: 'Paint where',
    icon: 'brush',
    rest: 0,
    brushes: [{ label: 'Here', value: 255 }],
};

const TOOLS = {
    AutoGlareRemove: FACES,
    BlurRadial: [{ kind: 'point', label: 'Place the centre', icon: 'target', x: 'x', y: 'y', isFraction: true }],
    Crop: [{ kind: 'rectangle', label: 'Draw the frame', icon: 'rectangle', lengths: ['x', 'y', 'width', 'height'] }],
    DeepRestorerEx: [{ kind: 'rectangle', label: 'Draw the part', icon: 'rectangle', list: 'cropInfo' }],
    DirectionalAreaDeformation: [{ kind: 'line', label: 'Push', icon: 'push', brush: 'size', isArrow: true }],
    DrawFace: FACES,
    EdgeRemove: [
        { kind: 'line', label: 'Draw the line', icon: 'line', brush: 'radius' },
        { kind: 'rectangle', label: 'Draw the part', icon: 'rectangle', list: 'rect' },
        MASK,
    ],
    EyeExtending: FACES,
    FaceMask: FACES,
    FaceRecognition: FACES,
    FaceThinning: FACES,
    Matting: [
        {
            kind: 'strokes',
            label: 'Paint the trimap',
            icon: 'brush',
            rest: 128,
            isMask: true,
            brushes: [
                { label: 'Subject', value: 255 },
                { label: 'Background', value: 0 },
            ],
        },
    ],
    ReduceLocalLuma: [
        MASK,
        { kind: 'rectangle', label: 'Draw the part', icon: 'rectangle', numbers: ['x', 'y', 'width', 'height'] },
    ],
    ReplaceChroma: [{ kind: 'point', label: 'Pick the brightness', icon: 'target', x: 'basePointX', y: 'basePointY' }],
    Segmentation: [
        {
            kind: 'strokes',
            label: 'Paint strokes',
            icon: 'brush',
            rest: 0,
            isMask: true,
            hasCutOut: true,
            brushes: [
                { label: 'Subject', setting: 'foreground', value: 255 },
                { label: 'Background', setting: 'background', value: 128 },
            ],
        },
    ],
    ShapeMask: [{ kind: 'shape', label: 'Place the shape', icon: 'shape', prefix: '' }],
    TiltShift: SHAPE,
    Vignette: SHAPE,
};

/** Hints for picking a colour in the picture. */
const PICKS = {
    'WhiteBalance.color': { label: 'Pick what should be grey' },
    'ReplaceChroma.baseColor': { label: 'Pick the colour to replace', also: { useBaseColor: true } },
};

/** @returns {{label: string, also?: Object<string, any>}} also: settings that must be set for the colour to be used */
export function getPick(effect, key) {
    return PICKS[`${effect}.${key}`] ?? { label: 'Pick in the picture' };
}

/** @returns {Tool[]} */
export function getTools(effect) {
    return TOOLS[effect] ?? [];
}

/** Brush 0 erases; the others have the levels that the step's settings define. */
export function getBrushes(step) {
    const tool = getTools(step.effect).find((any) => any.kind === 'strokes');
    if (!tool) return [];
    const brushes = tool.brushes.map(({ label, setting, value }) => ({
        label,
        value: step.settings[setting] ?? value,
    }));
    return [{ label: 'Eraser', value: tool.rest }, ...brushes];
}

/** The steps that cut out the subject of a mask, hair included: a band around its edge, and the alpha matte of it. */
export const CUT_OUT = [
    ['Trimap', { width: 8 }],
    ['Original', {}],
    ['Matting', {}],
    ['Original', {}],
    ['RemoveBackground', { smooth: 0 }],
];
