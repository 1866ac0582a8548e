/** Asks into which project a branch goes. */

import { byId, element } from "./dom.js";

/**
 * @param {import("./branch-pages.js").Branch} branch
 * @param {{id: string, name: string, archived: boolean}[]} projects
 * @param {(projectId: string|null) => void} choose called when the person chose another project
 */
export function askForProject(branch, projects, choose) {
    const dialog = byId("move");
    const present = branch.project?.id ?? null;
    const choice = ({ id, name }) =>
        element(
            "li",
            {},
            element(
                "button",
                {
                    type: "button",
                    dir: "auto",
                    "aria-current": id === present ? "true" : null,
                    autofocus: id === present,
                    click: () => {
                        dialog.close();
                        if (id !== present) choose(id);
                    },
                },
                name,
            ),
        );
    dialog.replaceChildren(
        element("h2", { id: "move-title" }, "Move to"),
        element("p", { class: "secondary", dir: "auto" }, branch.title),
        element(
            "ul",
            { keydown: moveAmongChoices },
            choice({ id: null, name: "No project" }),
            ...projects.filter((project) => !project.archived || project.id === present).map(choice),
        ),
        element("button", { type: "button", click: () => dialog.close() }, "Cancel"),
    );
    dialog.showModal();
}

/** @param {KeyboardEvent} event */
function moveAmongChoices(event) {
    const steps = { ArrowDown: 1, j: 1, ArrowUp: -1, k: -1 };
    if (!(event.key in steps) || event.ctrlKey || event.altKey || event.metaKey) return;
    event.preventDefault();
    const choices = [...event.currentTarget.querySelectorAll("button")];
    const at = choices.indexOf(document.activeElement) + steps[event.key];
    choices[(at + choices.length) % choices.length].focus();
}
