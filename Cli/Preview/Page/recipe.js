// Steps of a chain: how they are stored, written to the address, and sent to the server.

/**
 * @typedef {{brush: number, radius: number, points: number[]}} Stroke  brush 0 erases; the centres of the stroke's
 *     corners and its radius are pixels of the picture that the step is given
 * @typedef {{id: number, effect: string, settings: Object<string, any>, isOff: boolean, strokes: Stroke[],
 *            second: string, extra: Object<string, any>}} Step  settings by their full keys, only those that differ
 *     from the defaults; second: '' or 'photo:ID'; extra: which faces are treated
 * @typedef {{photo: number, steps: Step[]}} Recipe
 */

const FACE_WORDS = ['face', 'faces'];

let lastId = 0;

/** @returns {Step} */
export function makeStep(effect, settings = {}) {
    return { id: ++lastId, effect, settings, isOff: false, strokes: [], second: '', extra: {} };
}

/** Converts settings with full keys to an object in which those of a group are nested. */
function nest(settings) {
    const result = {};
    for (const [key, value] of Object.entries(settings)) {
        const parts = key.split('.');
        let target = result;
        for (const part of parts.slice(0, -1)) target = target[part] ??= {};
        target[parts.at(-1)] = value;
    }
    return result;
}

function flatten(object, prefix, into) {
    for (const [key, value] of Object.entries(object)) {
        if (value !== null && typeof value === 'object' && !Array.isArray(value))
            flatten(value, `${prefix}${key}.`, into);
        else into[prefix + key] = value;
    }
    return into;
}

/** A step as it appears in a recipe, without further pictures. */
export function stepToJson(step) {
    return { effect: step.effect, ...nest(step.settings), ...step.extra };
}

/** The steps with everything that the page knows about them, for the address. */
export function stepsToText(steps) {
    return JSON.stringify(
        steps.map((step) => {
            const json = stepToJson(step);
            if (step.isOff) json.isOff = true;
            if (step.second) json.with = [step.second];
            if (step.strokes.length)
                json.strokes = step.strokes.map(({ brush, radius, points }) => [brush, radius, ...points]);
            return json;
        }),
    );
}

/** Keys in another case or with unknown names are passed on to the server, which reports what is wrong with them. */
function stepFromJson(json, catalogue) {
    if (typeof json?.effect !== 'string')
        throw new Error('A recipe is an array of steps, each with the name of an effect.');
    const { effect, isOff, strokes, with: pictures, ...rest } = json;
    const known = catalogue.effects.find((any) => any.effect.toLowerCase() === effect.toLowerCase());
    if (!known) throw new Error(`There is no effect "${effect}".`);
    const step = makeStep(known.effect);
    const isFaceWord = (key) => FACE_WORDS.includes(key) && !catalogue.findField(known.effect, key);
    for (const [key, value] of Object.entries(rest)) {
        const type = catalogue.findField(known.effect, key)?.type;
        if (isFaceWord(key)) step.extra[key] = value;
        else if (type === 'json') step.settings[key] = value;
        else if (type === 'map' && value !== null && typeof value === 'object') step.settings[key] = joinMap(value);
        else flatten({ [key]: value }, '', step.settings);
    }
    step.isOff = isOff === true;
    step.second = [pictures].flat().find((picture) => /^photo:\d+$/.test(picture)) ?? '';
    if (Array.isArray(strokes)) {
        step.strokes = strokes.map(([brush, radius, ...points]) => ({ brush, radius, points }));
    }
    return step;
}

function joinMap(object) {
    return Object.entries(object)
        .map(([key, value]) => `${key}:${value}`)
        .join(',');
}

/** @returns {Step[]} */
export function stepsFromText(text, catalogue) {
    const json = JSON.parse(text);
    if (!Array.isArray(json)) throw new Error('A recipe is an array of steps.');
    return json.map((step) => stepFromJson(step, catalogue));
}

/** Whether a step has the pictures that it needs. */
export function isComplete(step, catalogue) {
    if (catalogue.find(step.effect)?.kind !== 'two-input') return true;
    return step.strokes.length > 0 || step.second !== '' || step.settings.algorithm === 'auto';
}

/** The steps that run: those that are switched on and have the pictures they need. */
export function getRunningSteps(steps, catalogue) {
    return steps.filter((step) => !step.isOff && isComplete(step, catalogue));
}

/** A key that is equal for steps with the same result. */
export function getKeyOfSteps(steps) {
    return stepsToText(steps);
}
