/** Asks before something that cannot be taken back. */

import { byId, element } from "./dom.js";

/**
 * @param {{question: string, consequence: string, action: string}} words
 * @returns {Promise<boolean>}
 */
export function confirm({ question, consequence, action }) {
    const dialog = byId("confirm");
    dialog.returnValue = "";
    dialog.replaceChildren(
        element("h2", { id: "confirm-title", dir: "auto" }, question),
        element("p", {}, consequence),
        element(
            "form",
            { method: "dialog", class: "line" },
            element("button", { value: "yes", class: "danger" }, action),
            element("button", { value: "", autofocus: true }, "Cancel"),
        ),
    );
    dialog.showModal();
    return new Promise((resolve) =>
        dialog.addEventListener("close", () => resolve(dialog.returnValue === "yes"), { once: true }),
    );
}
