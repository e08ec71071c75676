// Decides what to show and requests it: the result of the chain, the original photograph, the mask being painted.

import { getPhoto } from './api.js';
import { toWords } from './catalogue.js';
import { byId, h } from './dom.js';
import { showHistogram } from './histogram.js';
import { getKeyOfSteps, getRunningSteps } from './recipe.js';
import { Renderer } from './renderer.js';
import { toChain } from './wire.js';

const TINY = { outWidth: 8, outHeight: 8 };
const CAN_PASS = [0, 503]; // no response, server busy: the same request may succeed later
const BUSY_DELAY = 200; // milliseconds; anything faster needs no busy indicator

export class Preview extends EventTarget {
    #store;
    #catalogue;
    #viewer;
    #toolbox;
    #busy = 0;
    #busyTimer = 0;
    #renderers = new Map(
        ['main', 'before', 'mask', 'size'].map((name) => [
            name,
            new Renderer(name, 'main', (isBusy) => name !== 'size' && this.#showBusy(isBusy)),
        ]),
    );
    /** Picture sizes by photograph and steps; strokes and positions are relative to the size that a step receives. */
    #sizes = new Map();
    #photo = null;
    #failedPhoto = -1;
    #asked = new Map();

    constructor(store, catalogue, viewer, toolbox) {
        super();
        this.#store = store;
        this.#catalogue = catalogue;
        this.#viewer = viewer;
        this.#toolbox = toolbox;
        for (const type of ['steps', 'settled', 'ui']) store.addEventListener(type, () => this.update());
        viewer.addEventListener('moved', () => this.update());
        viewer.addEventListener('resized', () => this.update());
        byId('retry').addEventListener('click', () => this.restart());
    }

    /** What is known about the photograph; null until it is read, or if it cannot be. */
    get photo() {
        return this.#photo;
    }

    async loadPhoto() {
        const id = this.#store.ui.photo;
        this.#photo = null;
        this.#failedPhoto = -1;
        this.#renderers.forEach((renderer) => renderer.cancel());
        try {
            const photo = await getPhoto(id);
            if (this.#store.ui.photo !== id) return;
            this.#photo = photo;
            this.#viewer.clearLayer('before');
            this.#remember([], [photo.width, photo.height]);
            if (!this.#viewer.hasLayer('main')) this.#viewer.size = [photo.width, photo.height];
            this.dispatchEvent(new CustomEvent('photo', { detail: photo }));
            this.restart();
        } catch (error) {
            if (this.#store.ui.photo !== id) return;
            this.#failedPhoto = id;
            for (const name of ['main', 'before', 'mask']) this.#viewer.clearLayer(name);
            this.dispatchEvent(new CustomEvent('photo', { detail: null }));
            showHistogram(null);
            this.#showError(error);
        }
    }

    /** Requests everything again. */
    restart() {
        if (this.#failedPhoto === this.#store.ui.photo) return void this.loadPhoto();
        this.#asked.clear();
        this.update();
    }

    /** The steps whose result is shown: all, or, while a tool is active, those up to its step. */
    getShownSteps() {
        const { steps, ui } = this.#store;
        if (!ui.tool || !this.#toolbox.tool) return getRunningSteps(steps, this.#catalogue);
        const at = steps.findIndex((step) => step.id === ui.tool.step);
        const before = getRunningSteps(steps.slice(0, at), this.#catalogue);
        if (this.#toolbox.tool.shows === 'input') return before;
        return [...before, ...getRunningSteps([{ ...steps[at], isOff: false }], this.#catalogue)];
    }

    update() {
        if (!this.#photo) return;
        const { photo, isComparing, tool } = this.#store.ui;
        const isFinal = !this.#store.isDragging && !this.#viewer.isMoving;
        this.#ask('main', this.getShownSteps(), photo, this.#viewer.getRequest(), isFinal);
        if (isComparing || this.#viewer.isPeeking) {
            this.#ask('before', [], photo, this.#viewer.getRequest([this.#photo.width, this.#photo.height]), isFinal);
        }
        const step = tool && this.#store.find(tool.step);
        if (this.#toolbox.tool?.isReady && !step?.settings.demoMode) {
            const at = this.#store.steps.indexOf(step);
            const steps = [
                ...getRunningSteps(this.#store.steps.slice(0, at), this.#catalogue),
                { ...step, isOff: false },
            ];
            this.#ask('mask', steps, photo, this.#viewer.getRequest(), isFinal);
        } else if (this.#viewer.hasLayer('mask')) {
            this.#asked.delete('mask');
            this.#renderers.get('mask').cancel();
            this.#viewer.clearLayer('mask');
        }
    }

    #ask(name, steps, photo, view, isFinal) {
        const key = getKeyOfSteps(steps);
        const all = JSON.stringify([photo, key, view]);
        const last = this.#asked.get(name);
        if (last?.all === all && (last.isFinal || !isFinal)) return;
        this.#asked.set(name, { all, isFinal });
        const getChain = () => toChain(steps, (step) => this.#getSize(photo, steps.slice(0, steps.indexOf(step))));
        this.#renderers.get(name).ask(
            { photo, getChain, view, isFinal },
            (answer) => this.#show(name, answer, steps, view, `${photo} ${key}`),
            (error) => this.#fail(name, error),
        );
    }

    #show(name, answer, steps, view, key) {
        if (!this.#photo || !key.startsWith(`${this.#store.ui.photo} `)) return;
        const { about } = answer;
        this.#remember(steps, [about.width, about.height]);
        this.#viewer.setLayer(name, answer, view, key);
        if (name !== 'main') return;
        this.#hideError();
        showHistogram(about.histogram);
        const names = steps.map((step) => toWords(step.effect));
        byId('picture').setAttribute(
            'aria-label',
            names.length ? `The photograph after ${names.join(', ')}` : 'The photograph',
        );
        this.dispatchEvent(new CustomEvent('rendered', { detail: about }));
    }

    #fail(name, error) {
        if (CAN_PASS.includes(error.status)) this.#asked.delete(name);
        if (name === 'mask') this.#viewer.clearLayer('mask');
        if (name !== 'before') this.#showError(error);
    }

    #getSizeKey(photo, steps) {
        return `${photo} ${getKeyOfSteps(steps)}`;
    }

    #remember(steps, size) {
        const key = this.#getSizeKey(this.#store.ui.photo, steps);
        if (this.#sizes.get(key)?.join() === size.join()) return;
        this.#sizes.set(key, size);
        this.dispatchEvent(new Event('sizes'));
    }

    /** The size of the picture that a step receives, as far as it is known. */
    getSizeBefore(step) {
        const steps = this.#store.steps.slice(
            0,
            this.#store.steps.findIndex((any) => any.id === step.id),
        );
        const running = getRunningSteps(steps, this.#catalogue);
        for (let count = running.length; count >= 0; --count) {
            const size = this.#sizes.get(this.#getSizeKey(this.#store.ui.photo, running.slice(0, count)));
            if (size) return size;
        }
        return [1, 1];
    }

    /** The same, requested if it is unknown: the strokes of an address that was opened again need it. */
    async #getSize(photo, steps) {
        const key = this.#getSizeKey(photo, steps);
        if (!this.#sizes.has(key)) {
            const getChain = () => toChain(steps, (step) => this.#getSize(photo, steps.slice(0, steps.indexOf(step))));
            const size = await new Promise((resolve, reject) => {
                this.#renderers
                    .get('size')
                    .ask(
                        { photo, getChain, view: TINY, isFinal: false },
                        ({ about }) => resolve([about.width, about.height]),
                        reject,
                    );
            });
            this.#sizes.set(key, size);
        }
        return this.#sizes.get(key);
    }

    /** The chain in the server's form, for results at full size. */
    async getChain() {
        const steps = getRunningSteps(this.#store.steps, this.#catalogue);
        const { photo } = this.#store.ui;
        return toChain(steps, (step) => this.#getSize(photo, steps.slice(0, steps.indexOf(step))));
    }

    #showBusy(isBusy) {
        this.#busy += isBusy ? 1 : -1;
        clearTimeout(this.#busyTimer);
        const bar = byId('busy');
        byId('stage').setAttribute('aria-busy', String(this.#busy > 0));
        if (this.#busy > 0) this.#busyTimer = setTimeout(() => (bar.hidden = false), BUSY_DELAY);
        else bar.hidden = true;
    }

    #showError(error) {
        const isGone = error.status === 0;
        byId('message').hidden = false;
        byId('message').classList.toggle('gone', isGone);
        byId('message-text').replaceChildren(
            ...(isGone
                ? [
                      h('strong', {}, 'The server has ended.'),
                      ' Your steps are kept in the address of this page. Start ',
                      h('code', {}, 'kalvatri preview'),
                      ' again and open the recipe there, or put the part of this address from ',
                      h('code', {}, '#'),
                      ' on behind the new one.',
                  ]
                : [error.message]),
        );
        byId('download-recipe').hidden = !isGone;
        byId('retry').hidden = !CAN_PASS.includes(error.status);
    }

    #hideError() {
        byId('message').hidden = true;
    }
}
