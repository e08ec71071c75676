// Requests to the server. All addresses are relative, so that they include the token of the page's own address.

/** The server's error message, with the same text as on the command line; status 0 means that there was no response. */
export class ApiError extends Error {
    constructor(status, message) {
        super(message);
        this.status = status;
    }
}

async function request(path, options) {
    let response;
    try {
        response = await fetch(`api/${path}`, { cache: 'no-store', ...options });
    } catch (error) {
        if (error.name === 'AbortError') throw error;
        throw new ApiError(0, 'The server does not answer.');
    }
    if (response.ok) return response;
    const text = await response.text().catch(() => '');
    let message = `The server refused the request (${response.status}).`;
    try {
        message = JSON.parse(text).error ?? message;
    } catch {
        // A response without JSON is reported by its status.
    }
    throw new ApiError(response.status, message);
}

async function get(path) {
    return (await request(path)).json();
}

async function post(path, body) {
    const headers = { 'Content-Type': 'application/json' };
    return (await request(path, { method: 'POST', headers, body: JSON.stringify(body) })).json();
}

export const getCatalogue = () => get('catalogue');
export const getPhotos = () => get('photos');
export const getPhoto = (id) => get(`photos/${id}`);
export const getFaces = (id) => get(`photos/${id}/faces`);
export const getCommand = (body) => post('command', body);
export const save = (body) => post('save', body);
export const runBatch = (body) => post('batch', body);
export const saveRecipe = (body) => post('recipe', body);
export const getJob = (job) => get(`jobs/${job}`);
export const cancelJob = (job) => request(`jobs/${job}`, { method: 'DELETE' });

/** Uploads a picture drawn on the page, as PNG; returns its name for a step's `with`. */
export async function keepPicture(png) {
    const headers = { 'Content-Type': 'image/png' };
    return (await (await request('pictures?kind=strokes', { method: 'POST', headers, body: png })).json()).picture;
}

/**
 * The result of a chain: its description, and its pixels.
 * @returns {Promise<{about: object, pixels: ImageData}>}
 */
export async function render(body, signal) {
    const headers = { 'Content-Type': 'application/json' };
    const response = await request('render', { method: 'POST', headers, body: JSON.stringify(body), signal });
    const buffer = await response.arrayBuffer().catch((error) => {
        if (error.name === 'AbortError') throw error;
        throw new ApiError(0, 'The server ended while it answered.');
    });
    const length = new DataView(buffer).getUint32(0, true);
    const about = JSON.parse(new TextDecoder().decode(new Uint8Array(buffer, 4, length)));
    const samples = new Uint8ClampedArray(buffer, 4 + length, 4 * about.outWidth * about.outHeight);
    return { about, pixels: new ImageData(samples, about.outWidth, about.outHeight) };
}
