/** The keys of the agents: made, shown once, revoked. */

import { confirm } from "./confirm-dialog.js";
import { copyButton } from "./copy-button.js";
import { byId, element } from "./dom.js";
import { announce, attempt } from "./messages.js";
import { moment } from "./moments.js";
import { change, get } from "./requests.js";

export function startKeySettings() {
    byId("create-key").addEventListener("submit", (event) => {
        event.preventDefault();
        create(event.target);
    });
    return attempt("The keys could not be loaded.", showKeys);
}

/** @param {HTMLFormElement} form */
async function create(form) {
    await attempt("No key was made.", async () => {
        showNewKey(await change("POST", "/web/keys", { name: form.elements.name.value }));
        form.reset();
        await showKeys();
    });
}

/** @param {{id: string, name: string, key: string}} made */
function showNewKey({ id, name, key }) {
    const field = element("input", { id: "new-key-text", readonly: true, value: key, spellcheck: "false" });
    const place = byId("new-key");
    place.replaceChildren(
        element(
            "p",
            { class: "line" },
            element("label", {}, element("span", { dir: "auto" }, `The key “${name}”`), field),
            copyButton(field, "key"),
        ),
        element("p", {}, "Copy it now: it is shown this once and cannot be shown again."),
    );
    place.dataset.id = id;
    place.hidden = false;
    field.focus();
    field.select();
}

async function showKeys() {
    const keys = await get("/web/keys");
    byId("key-list").replaceChildren(...keys.map(keyRow));
    byId("no-keys").hidden = keys.length > 0;
}

function keyRow(key) {
    const used = key.last_used_at === null ? "never used" : ["last used ", moment(key.last_used_at)];
    return element(
        "li",
        {},
        element(
            "div",
            { class: "words" },
            element("strong", { dir: "auto" }, key.name || "Unnamed"),
            element("span", { class: "secondary" }, "made ", moment(key.created_at), ", ", ...[used].flat()),
        ),
        element("button", { type: "button", class: "quiet", "aria-label": `Revoke the key ${key.name}`, click: () => revoke(key) }, "Revoke…"),
    );
}

async function revoke(key) {
    const sure = await confirm({
        question: `Revoke the key “${key.name}”?`,
        consequence: "An agent that uses it can send nothing until it is connected with another key. This cannot be undone.",
        action: "Revoke",
    });
    if (!sure) return;
    await attempt("The key was not revoked.", async () => {
        await change("DELETE", `/web/keys/${encodeURIComponent(key.id)}`);
        if (byId("new-key").dataset.id === key.id) byId("new-key").hidden = true;
        await showKeys();
        announce(`The key ${key.name} is revoked`);
        byId("create-key").elements.name.focus();
    });
}
