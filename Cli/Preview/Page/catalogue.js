// The effects and their settings, as listed by the server, and the page's names for them.

/**
 * @typedef {{key: string, type: string, default: any, min: ?number, max: ?number,
 *            values: {name: string, value: number}[], unit: string, summary: string}} Field
 * @typedef {{effect: string, kind: string, group: string, summary: string, fields: Field[],
 *            further: number | 'many', isPreviewed: boolean, isApproximate: boolean}} Effect
 */

// Not shown on the page: folders on the server's disk, C++ functions, and settings that have no effect and exist only
// for programs that store them.
const isShown = (field) => !['path', 'function'].includes(field.type) && !field.summary.startsWith('Has no effect');

export class Catalogue {
    constructor(json) {
        this.version = json.version;
        /** @type {Effect[]} */
        this.effects = json.effects.filter((effect) => !effect.fields.some((field) => field.type === 'function'));
        this.byName = new Map(this.effects.map((effect) => [effect.effect, effect]));
    }

    /** @returns {Effect | undefined} */
    find(name) {
        return this.byName.get(name);
    }

    /** @returns {Field | undefined} */
    findField(name, key) {
        return this.find(name)?.fields.find((field) => field.key === key);
    }

    /** @returns {Field[]} */
    getShownFields(name) {
        return this.find(name)?.fields.filter(isShown) ?? [];
    }

    /** @returns {Map<string, Effect[]>} the groups in the catalogue's order */
    getGroups() {
        const groups = new Map();
        for (const effect of this.effects) {
            if (!groups.has(effect.group)) groups.set(effect.group, []);
            groups.get(effect.group).push(effect);
        }
        return groups;
    }
}

/** BlurBokeh -> Blur bokeh, shape.centerX -> Center x; abbreviations are kept. */
export function toWords(name) {
    const words = name
        .slice(name.lastIndexOf('.') + 1)
        .replace(/([a-z0-9])([A-Z])/g, '$1 $2')
        .split(' ');
    const lower = words.map((word, i) => (i > 0 && !/^[A-Z]{2}/.test(word) ? word.toLowerCase() : word));
    const text = lower.join(' ');
    return text.charAt(0).toUpperCase() + text.slice(1);
}

export function getGroupOfKey(key) {
    const dot = key.lastIndexOf('.');
    return dot < 0 ? '' : key.slice(0, dot);
}
