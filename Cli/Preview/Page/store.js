// The page's only state: the recipe with its history, and the view. Everything on display is derived from it.

/** @typedef {import('./recipe.js').Step} Step */

const HISTORY = 200;

export class Store extends EventTarget {
    #past = [];
    #future = [];
    #merging = null;

    /** State outside the undo history: the photograph, the view, the selection and the active tool. */
    ui = { photo: 0, zoom: 'fit', centre: [0.5, 0.5], isComparing: true, divider: 0.5, selected: 0, tool: null };
    /** @type {Step[]} */
    steps = [];

    /**
     * Replaces the steps. Consecutive changes with the same `merge` value are a single undo step until `settle`, such
     * as those made by dragging a slider.
     */
    setSteps(steps, merge = null) {
        if (merge === null || merge !== this.#merging) {
            this.#past.push(this.steps);
            if (this.#past.length > HISTORY) this.#past.shift();
        }
        this.#future = [];
        this.#merging = merge;
        this.#show(steps);
    }

    /** @param {number} id @param {(step: Step) => Partial<Step>} change */
    changeStep(id, change, merge = null) {
        this.setSteps(
            this.steps.map((step) => (step.id === id ? { ...step, ...change(step) } : step)),
            merge,
        );
    }

    /** Sets one setting; `undefined` or the default value resets it. */
    setSetting(step, field, value, merge = null) {
        this.setSettings(step, [[field, value]], merge);
    }

    /** @param {[{key: string, default: any}, any][]} changes */
    setSettings(step, changes, merge = null) {
        this.changeStep(
            step.id,
            ({ settings }) => {
                const next = { ...settings };
                for (const [field, value] of changes) {
                    if (value === undefined || JSON.stringify(value) === JSON.stringify(field.default))
                        delete next[field.key];
                    else next[field.key] = value;
                }
                return { settings: next };
            },
            merge,
        );
    }

    /** Ends a drag: the next change starts a new undo step, and the final picture is requested. */
    settle() {
        if (this.#merging === null) return;
        this.#merging = null;
        this.#tell('settled');
    }

    get isDragging() {
        return this.#merging !== null;
    }

    get canUndo() {
        return this.#past.length > 0;
    }

    get canRedo() {
        return this.#future.length > 0;
    }

    undo() {
        if (!this.canUndo) return;
        this.#future.push(this.steps);
        this.#merging = null;
        this.#show(this.#past.pop());
    }

    redo() {
        if (!this.canRedo) return;
        this.#past.push(this.steps);
        this.#merging = null;
        this.#show(this.#future.pop());
    }

    setUi(change) {
        this.ui = { ...this.ui, ...change };
        this.#tell('ui', Object.keys(change));
    }

    /** @returns {Step | undefined} */
    find(id) {
        return this.steps.find((step) => step.id === id);
    }

    #show(steps) {
        this.steps = steps;
        if (this.ui.tool && !this.find(this.ui.tool.step)) this.ui = { ...this.ui, tool: null };
        this.#tell('steps');
    }

    #tell(type, detail) {
        this.dispatchEvent(new CustomEvent(type, { detail }));
    }
}
