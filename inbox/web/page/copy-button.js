/** A button that copies the text of a field. */

import { element } from "./dom.js";
import { announce } from "./messages.js";

/**
 * @param {HTMLInputElement} field
 * @param {string} what as in "base URL"
 */
export function copyButton(field, what) {
    const button = element("button", { type: "button", "aria-label": `Copy the ${what}` }, "Copy");
    button.addEventListener("click", async () => {
        field.select();
        // The clipboard is not there on a page that came over plain HTTP from another machine.
        const copied = navigator.clipboard ? await writeToClipboard(field.value) : document.execCommand("copy");
        button.textContent = copied ? "Copied" : "Press Ctrl+C";
        announce(copied ? `The ${what} is copied` : `The ${what} is selected: press Ctrl+C to copy it`);
    });
    return button;
}

async function writeToClipboard(text) {
    try {
        await navigator.clipboard.writeText(text);
        return true;
    } catch {
        return false;
    }
}
