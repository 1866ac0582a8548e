/** Lets the page be used by keys, and shows which there are. */

import { byId, element } from "./dom.js";

const storageKey = "single-letter-keys";
const typingFields = "input:not([type=radio], [type=checkbox]), select, textarea, [contenteditable]";

/**
 * @typedef {{keys: string[], does: string, act: () => boolean|void, within?: string}} Shortcut
 *   `act` returns false when the key means nothing now; `within` is where the focus must be.
 */

/** @param {Shortcut[]} shortcuts */
export function listenForKeys(shortcuts) {
    const all = [...shortcuts, { keys: ["?"], does: "shows these keys", act: () => showKeys(all) }];
    document.addEventListener("keydown", (event) => {
        if (event.defaultPrevented || event.isComposing || document.querySelector("dialog[open]")) return;
        if (event.target.closest(typingFields)) return;
        const name = nameOf(event);
        if (name === null || (name.length === 1 && !lettersCount())) return;
        const shortcut = all.find(({ keys, within }) => keys.includes(name) && (!within || event.target.matches(within)));
        if (shortcut && shortcut.act() !== false) event.preventDefault();
    });
    byId("show-keys").addEventListener("click", () => showKeys(all));
}

/** @param {KeyboardEvent} event */
function nameOf(event) {
    if (event.altKey || event.metaKey) return null;
    if (event.ctrlKey) return event.key === "z" && !event.shiftKey ? "Ctrl+Z" : null;
    return event.key;
}

/** Speech input and tremor set single letters off by accident: they can be switched off. */
function lettersCount() {
    return localStorage.getItem(storageKey) !== "off";
}

/** @param {Shortcut[]} shortcuts */
function showKeys(shortcuts) {
    const dialog = byId("keys");
    const rows = shortcuts.map(({ keys, does }) =>
        element("div", {}, element("dt", {}, ...keys.map((key) => element("kbd", {}, key.replace("Arrow", "")))), element("dd", {}, does)),
    );
    const letters = element("input", {
        type: "checkbox",
        id: "letters",
        checked: lettersCount(),
        change: () => localStorage.setItem(storageKey, letters.checked ? "on" : "off"),
    });
    dialog.replaceChildren(
        element("h2", { id: "keys-title" }, "Keys"),
        element("dl", {}, ...rows),
        element("label", { class: "check" }, letters, "Single letters count"),
        element("button", { type: "button", autofocus: true, click: () => dialog.close() }, "Close"),
    );
    dialog.showModal();
}
