// Requests pictures, one at a time and always the latest. While a slider moves, a picture that is already being
// computed is still shown, since it lies between two positions; a slow one is abandoned for a newer request.

import { ApiError, render } from './api.js';
import { forgetPictures } from './wire.js';

const PATIENCE = 700; // milliseconds for which a newer request waits for the current one
const UNREADABLE_UPLOAD = /upload:/;

/** Identifies the tab, so that tabs do not cancel each other's requests. */
const tab = Array.from(crypto.getRandomValues(new Uint8Array(8)), (byte) => byte.toString(16).padStart(2, '0')).join(
    '',
);

/**
 * @typedef {{photo: number, getChain: () => Promise<object[]>, view: object, isFinal: boolean}} Request
 */
export class Renderer {
    #client;
    #lane;
    #sequence = 0;
    #wanted = null;
    #running = null;
    #abort = null;
    #startedAt = 0;
    #timer = 0;
    #onBusy;

    /** @param {string} name of the layer that it renders @param {'main' | 'thumbnail'} lane */
    constructor(name, lane, onBusy = () => {}) {
        this.#client = `${tab}-${name}`;
        this.#lane = lane;
        this.#onBusy = onBusy;
    }

    /**
     * @param {Request} request
     * @param {(answer: {about: object, pixels: ImageData}, request: Request) => void} onPicture
     * @param {(error: ApiError, request: Request) => void} onError
     */
    ask(request, onPicture, onError) {
        this.#wanted = { request, onPicture, onError, sequence: ++this.#sequence };
        if (!this.#running) return void this.#run();
        clearTimeout(this.#timer);
        const left = this.#running.request.isFinal ? 0 : PATIENCE - (performance.now() - this.#startedAt);
        this.#timer = setTimeout(() => this.#abort?.abort(), Math.max(0, left));
    }

    cancel() {
        this.#wanted = null;
        this.#abort?.abort();
    }

    async #run() {
        this.#onBusy(true);
        while (this.#wanted) {
            const job = (this.#running = this.#wanted);
            this.#wanted = null;
            this.#abort = new AbortController();
            this.#startedAt = performance.now();
            try {
                const answer = await this.#askServer(job, this.#abort.signal);
                job.onPicture(answer, job.request);
                if (answer.about.isCoarse && !this.#wanted) {
                    this.#wanted = { ...job, request: { ...job.request, isFinal: true } };
                }
            } catch (error) {
                const isOutdated = error.name === 'AbortError' || error.status === 409;
                if (!isOutdated && !this.#wanted) job.onError(error, job.request);
            }
            clearTimeout(this.#timer);
        }
        this.#running = this.#abort = null;
        this.#onBusy(false);
    }

    async #askServer(job, signal) {
        const { photo, getChain, view, isFinal } = job.request;
        const ask = async () => {
            const chain = await getChain();
            signal.throwIfAborted();
            return render(
                { client: this.#client, lane: this.#lane, sequence: job.sequence, photo, chain, view, isFinal },
                signal,
            );
        };
        try {
            return await ask();
        } catch (error) {
            if (!(error instanceof ApiError) || !UNREADABLE_UPLOAD.test(error.message)) throw error;
            forgetPictures();
            return ask();
        }
    }
}
