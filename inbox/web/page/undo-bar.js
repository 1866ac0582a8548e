/** Offers to take the latest changes back, one after the other, until it is dismissed. */

import { byId, element } from "./dom.js";
import { announce, attempt } from "./messages.js";

/** @type {{what: string, takeBack: () => Promise<unknown>}[]} */
let changes = [];

/**
 * @param {string} what as in "Deleted “Water the ferns”"
 * @param {() => Promise<unknown>} takeBack
 */
export function offerUndo(what, takeBack) {
    changes.push({ what, takeBack });
    announce(`${what}. Press z to undo.`);
    show();
}

/** Takes the latest change back; one that cannot be taken back stays on offer. */
export async function undo() {
    const latest = changes.pop();
    if (!latest) return;
    show();
    if (await attempt("This was not undone.", latest.takeBack)) announce(`Undone: ${latest.what}`);
    else changes.push(latest);
    show();
}

function show() {
    const bar = byId("undo");
    const latest = changes.at(-1);
    bar.hidden = !latest;
    if (!latest) return;
    const focused = bar.contains(document.activeElement) ? document.activeElement.dataset.control : null;
    bar.replaceChildren(
        element("p", { dir: "auto" }, latest.what),
        element("button", { type: "button", "data-control": "undo", "aria-keyshortcuts": "z Control+Z", click: undo }, "Undo"),
        element("button", { type: "button", class: "quiet", "data-control": "dismiss", click: dismiss }, "Dismiss"),
    );
    if (focused) bar.querySelector(`[data-control=${focused}]`).focus();
}

function dismiss() {
    changes = [];
    show();
}
