/** Tells the person what happened: quietly, or as a problem. */

import { byId, element } from "./dom.js";
import { wasOvertaken } from "./requests.js";

/** Has a screen reader say something when it has nothing else to say. */
export function announce(text) {
    byId("announcer").textContent = text;
}

/** Shows what went wrong until the next problem, or until it is dismissed. */
export function complain(text) {
    const dismiss = element("button", { type: "button", class: "quiet", click: clearProblem }, "Dismiss");
    byId("problem").replaceChildren(element("p", {}, text), dismiss);
}

export function clearProblem() {
    byId("problem").replaceChildren();
}

/**
 * Does something that the person asked for; a failure is shown. Returns whether it went well.
 *
 * @param {string} failure what to say before the reason, as in "The branch was not moved."
 * @param {() => Promise<unknown>} action
 */
export async function attempt(failure, action) {
    clearProblem();
    try {
        await action();
        return true;
    } catch (error) {
        if (!wasOvertaken(error)) complain(`${failure} ${error.message}`);
        return false;
    }
}
