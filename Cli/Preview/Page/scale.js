// Maps slider positions to the range of a setting.

const PARTS = 200; // positions of a slider, finer than a hand can distinguish
const CURVED_WAY = 1000;
const CURVE = 3; // a cubic maps half of the slider's travel to an eighth of the half range

/** The largest power of ten that divides a range into at least 200 parts, but at most 1, to keep integers reachable. */
function niceStep(span) {
    return 10 ** Math.min(0, Math.floor(Math.log10(span / PARTS)));
}

/** Positions and sizes in the picture, whose ranges extend far beyond it. */
const isPlace = (field) => field.unit === 'pixels' && field.max >= 131071;

/** The slider covers the picture; the number field beside it accepts the full range. */
function getBounds(field, size) {
    if (!isPlace(field)) return [field.min, field.max];
    const isAcross = /(x|width|left|right)$/i.test(field.key),
        isDown = /(y|height|top|bottom)$/i.test(field.key);
    const side = isAcross ? size[0] : isDown ? size[1] : Math.max(...size);
    return [Math.max(0, field.min), Math.max(side, 1)];
}

/** Ranges much wider than the default are fine around it and coarse far away; percentages and levels stay linear. */
function isCurved(field, span) {
    if (isPlace(field) || field.unit === 'percent' || (field.min === 0 && field.max === 255)) return false;
    return field.default === 0 ? span > 1000 : span > 10 * Math.abs(field.default);
}

/**
 * @param {import('./catalogue.js').Field} field
 * @param {[number, number]} size of the picture
 * @returns {{min: number, max: number, step: number, toValue: (position: number) => number,
 *            toPosition: (value: number) => number, valueStep: number} | null} null where no slider makes sense
 */
export function makeScale(field, size) {
    if (field.min === null || field.max === null) return null;
    const [min, max] = getBounds(field, size);
    const span = max - min;
    if (span > 1e6) return null;
    const isWhole = field.type === 'int';
    const start = Math.min(max, Math.max(min, field.default));
    const hasCurve = isCurved(field, span);
    const valueStep = isWhole ? 1 : niceStep(hasCurve ? Math.max(Math.abs(start), 1) : span);
    const round = (value) => Number((Math.round(value / valueStep) * valueStep).toPrecision(10));
    const clamp = (value) => Math.min(max, Math.max(min, value));
    if (!hasCurve) {
        return {
            min,
            max,
            step: valueStep,
            valueStep,
            toValue: (position) => clamp(round(position)),
            toPosition: (value) => clamp(value),
        };
    }
    const middle = start > min && start < max ? CURVED_WAY / 2 : start <= min ? 0 : CURVED_WAY;
    const toValue = (position) => {
        const way = position - middle;
        const half = way < 0 ? middle : CURVED_WAY - middle;
        const reach = way < 0 ? min - start : max - start;
        return half > 0 ? clamp(round(start + reach * Math.abs(way / half) ** CURVE)) : start;
    };
    const toPosition = (value) => {
        const off = clamp(value) - start;
        const reach = off < 0 ? start - min : max - start;
        const half = off < 0 ? middle : CURVED_WAY - middle;
        return middle + (reach > 0 ? Math.sign(off) * half * Math.abs(off / reach) ** (1 / CURVE) : 0);
    };
    return { min: 0, max: CURVED_WAY, step: 1, valueStep, toValue, toPosition };
}
