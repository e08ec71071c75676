// Converts steps to the server's form. Strokes are first uploaded as pictures, each of them once.

import { keepPicture } from './api.js';
import { encodeGreyPng } from './png.js';
import { stepToJson } from './recipe.js';
import { drawStrokes } from './strokes.js';
import { getBrushes } from './tools.js';

const KEPT = 16; // names that are remembered; the server also keeps only a few pictures

const names = new Map();

async function keepStrokes(step, size) {
    const values = getBrushes(step).map((brush) => brush.value);
    const key = JSON.stringify([size, values, step.strokes]);
    if (!names.has(key)) {
        const name = encodeGreyPng(...size, drawStrokes(step.strokes, ...size, values)).then(keepPicture);
        names.set(key, name);
        name.catch(() => names.delete(key));
        if (names.size > KEPT) names.delete(names.keys().next().value);
    }
    return names.get(key);
}

/** Pictures that the server may have discarded are uploaded again. */
export function forgetPictures() {
    names.clear();
}

/**
 * @param {import('./recipe.js').Step[]} steps
 * @param {(step: import('./recipe.js').Step) => Promise<[number, number]>} getSize of the picture that a step receives
 */
export async function toChain(steps, getSize) {
    return Promise.all(
        steps.map(async (step) => {
            const json = stepToJson(step);
            if (step.strokes.length) json.with = [await keepStrokes(step, await getSize(step))];
            else if (step.second) json.with = [step.second];
            return json;
        }),
    );
}
