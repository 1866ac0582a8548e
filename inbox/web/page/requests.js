/** Asks the service, and turns whatever goes wrong into words for the person. */

import { keepDrafts } from "./drafts.js";

/** A request that was refused or did not come through; its message is a plain sentence. */
export class RequestError extends Error {
    /**
     * @param {string} message
     * @param {number} status 0 when no answer came
     */
    constructor(message, status) {
        super(message);
        this.status = status;
    }
}

/** @type {Promise<{account: {name: string}, csrf_token: string, base_url: string, version: string}>|null} */
let known = null;

/** Who is signed in, and what this service is called from outside. */
export function session() {
    known ??= ask("GET", "/web/session").catch((error) => {
        known = null;
        throw error;
    });
    return known;
}

/**
 * @param {string} path
 * @param {AbortSignal} [signal]
 */
export function get(path, signal) {
    return ask("GET", path, { signal });
}

/**
 * Asks for a change.
 *
 * @param {"POST"|"PATCH"|"DELETE"} method
 * @param {string} path
 * @param {object} [body]
 */
export async function change(method, path, body) {
    const token = (await session()).csrf_token;
    try {
        return await ask(method, path, { body, token });
    } catch (error) {
        if (error.status !== 403) throw error;
        // Somebody signed in anew beside this page, which changes the token.
        known = null;
        return ask(method, path, { body, token: (await session()).csrf_token });
    }
}

/** Whether a request ended because a newer one took its place. */
export function wasOvertaken(error) {
    return error.name === "AbortError";
}

async function ask(method, path, { body, token, signal } = {}) {
    const headers = { Accept: "application/json" };
    if (body) headers["Content-Type"] = "application/json";
    if (token) headers["X-CSRF-Token"] = token;
    let response;
    let answer;
    try {
        response = await fetch(path, { method, headers, signal, cache: "no-store", body: body && JSON.stringify(body) });
        const text = await response.text();
        answer = text === "" ? null : JSON.parse(text);
    } catch (error) {
        if (wasOvertaken(error)) throw error;
        if (!response) throw new RequestError("The inbox cannot be reached.", 0);
        throw new RequestError("The inbox gave an answer that makes no sense.", response.status);
    }
    if (response.ok) return answer;
    if (response.status === 401) await leaveToSignIn();
    throw new RequestError(refusal(response.status, answer), response.status);
}

function refusal(status, answer) {
    if (status === 503) return "The inbox is busy. Try again in a moment.";
    if (status === 507) return "The disk of the inbox is full.";
    const reason = answer?.error?.message;
    return reason ? asSentence(reason) : `The inbox answered with an error (${status}).`;
}

function asSentence(text) {
    const sentence = text.charAt(0).toUpperCase() + text.slice(1);
    return /[.!?]$/.test(sentence) ? sentence : `${sentence}.`;
}

/** Goes to the sign-in page, which comes back here. Never settles: this page is on its way out. */
function leaveToSignIn() {
    keepDrafts();
    const here = location.pathname + location.search;
    location.assign(`/sign-in?next=${encodeURIComponent(here)}`);
    return new Promise(() => {});
}
