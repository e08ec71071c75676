// Jobs at full size: starting, polling and cancelling them.

import { cancelJob, getJob } from './api.js';

const INTERVAL = 150; // polling interval in milliseconds

/**
 * @param {() => Promise<{job: number}>} start
 * @param {(state: object) => void} onState
 * @returns {{cancel: () => void, done: Promise<object>}}
 */
export function follow(start, onState) {
    let job = null,
        isCancelled = false;
    const cancel = () => {
        isCancelled = true;
        if (job !== null) cancelJob(job).catch(() => {});
    };
    const run = async () => {
        ({ job } = await start());
        if (isCancelled) cancel();
        for (;;) {
            const state = await getJob(job);
            onState(state);
            if (state.state !== 'running') return state;
            await new Promise((resolve) => setTimeout(resolve, INTERVAL));
        }
    };
    return { cancel, done: run() };
}
