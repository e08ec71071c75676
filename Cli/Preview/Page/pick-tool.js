// The colour picker: a click takes a colour from the picture as it enters the step.

export class PickTool {
    shows = 'input';
    #context;
    #at = null;
    #also;
    #viewer;

    constructor(context, { key, label, also = {} }, viewer) {
        this.#context = context;
        this.key = key;
        this.#also = also;
        this.hint = `${label}: click in the picture.`;
        this.#viewer = viewer;
    }

    cursorAt() {
        return 'crosshair';
    }

    hover(point) {
        this.#at = point;
    }

    down(point) {
        this.#at = point;
        return true;
    }

    move(point) {
        this.#at = point;
    }

    up(point) {
        const colour = this.#viewer.sample(point);
        if (!colour) return;
        const alpha = String(this.#context.get(this.key)).slice(7);
        this.#context.set({ [this.key]: toHex(colour) + alpha, ...this.#also }, false);
        this.#context.leave();
    }

    draw(view, svg) {
        const colour = this.#at && this.#viewer.sample(this.#at);
        if (!colour) return [];
        const [cx, cy] = view.toScreen(this.#at);
        return [
            svg('circle', { cx, cy: cy - 34, r: 18, fill: toHex(colour), class: 'swatch' }),
            svg('circle', { cx, cy, r: 4, class: 'aim' }),
        ];
    }
}

function toHex(colour) {
    return `#${colour.map((level) => level.toString(16).padStart(2, '0')).join('')}`;
}
