// Thumbnails made from the current photograph, for each effect in the list, and of the photographs. They are rendered
// one at a time, when they come into view, and yield to the main picture.

import { Renderer } from './renderer.js';

const SIDE = 112; // CSS pixels

export class Thumbnails {
    #renderer = new Renderer('thumbnails', 'thumbnail');
    #queue = [];
    #isRunning = false;
    #made = new Map();
    #observer = new IntersectionObserver((entries) => this.#notice(entries), { rootMargin: '100px' });
    #waiting = new Map();

    /** Fills `canvas` with the result of `chain` on the photograph as soon as the canvas is visible. */
    fill(canvas, photo, chain) {
        canvas.getContext('2d').clearRect(0, 0, canvas.width, canvas.height);
        this.#waiting.set(canvas, { photo, chain, key: JSON.stringify([photo, chain]) });
        this.#observer.unobserve(canvas);
        this.#observer.observe(canvas);
    }

    #notice(entries) {
        for (const { target, isIntersecting } of entries) {
            const wish = this.#waiting.get(target);
            if (!wish) continue;
            const at = this.#queue.findIndex((job) => job.canvas === target);
            if (at >= 0) this.#queue.splice(at, 1);
            if (!isIntersecting) continue;
            if (this.#made.has(wish.key)) this.#show(target, this.#made.get(wish.key));
            else this.#queue.push({ canvas: target, ...wish });
        }
        this.#run();
    }

    async #run() {
        if (this.#isRunning) return;
        this.#isRunning = true;
        while (this.#queue.length) {
            const job = this.#queue.shift();
            const pixels = await this.#make(job);
            this.#made.set(job.key, pixels);
            if (this.#waiting.get(job.canvas)?.key === job.key) this.#show(job.canvas, pixels);
        }
        this.#isRunning = false;
    }

    #make({ photo, chain }) {
        const side = Math.round(SIDE * (devicePixelRatio || 1));
        const view = { outWidth: side, outHeight: side };
        return new Promise((resolve) => {
            this.#renderer.ask(
                { photo, getChain: async () => chain, view, isFinal: true },
                ({ pixels }) => resolve(pixels),
                () => resolve(null),
            );
        });
    }

    #show(canvas, pixels) {
        this.#waiting.delete(canvas);
        this.#observer.unobserve(canvas);
        canvas.classList.toggle('failed', !pixels);
        if (!pixels) return;
        canvas.width = pixels.width;
        canvas.height = pixels.height;
        canvas.getContext('2d').putImageData(pixels, 0, 0);
    }
}
