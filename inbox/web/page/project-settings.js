/** The projects: made, renamed in place, put in order, archived. */

import { byId, element } from "./dom.js";
import { announce, attempt } from "./messages.js";
import { change, get } from "./requests.js";

/** @typedef {{id: string, name: string, archived: boolean}} Project */

/** @type {Project[]|null} null before the first answer */
let projects = null;

/** What is being renamed, and how far that has come; a change elsewhere does not end it. */
let renaming = { id: null, text: "" };

export function startProjectSettings() {
    byId("create-project").addEventListener("submit", (event) => {
        event.preventDefault();
        create(event.target);
    });
    return attempt("The projects could not be loaded.", loadProjects);
}

/** Leaves rows that say the same as before alone: a press on one of them must not get lost. */
export async function loadProjects() {
    const list = await get("/web/projects");
    if (JSON.stringify(list) !== JSON.stringify(projects)) show(list);
}

/** @param {HTMLFormElement} form */
async function create(form) {
    await attempt("No project was made.", async () => {
        const { name } = await change("POST", "/web/projects", { name: form.elements.name.value });
        form.reset();
        await loadProjects();
        announce(`The project ${name} is made`);
    });
}

/** @param {Project[]} list */
function show(list) {
    projects = list;
    const refocus = rememberFocus();
    const active = list.filter((project) => !project.archived);
    const archived = list.filter((project) => project.archived);
    byId("project-list").replaceChildren(...active.map((project, at) => row(project, activeControls(project, at, active))));
    byId("archived-list").replaceChildren(...archived.map((project) => row(project, archivedControls(project))));
    byId("archive").hidden = archived.length === 0;
    byId("no-projects").hidden = list.length > 0;
    refocus();
}

/** Rows are made anew: the focus goes back to the same control of the same project. */
function rememberFocus() {
    const held = document.activeElement;
    const id = held?.closest("[data-id]")?.dataset.id;
    const { control } = held?.dataset ?? {};
    const selection = held instanceof HTMLInputElement ? [held.selectionStart, held.selectionEnd] : null;
    return () => {
        if (id === undefined || held.isConnected) return;
        const again = document.querySelector(`[data-id="${CSS.escape(id)}"]`);
        const target = again?.querySelector(`[data-control=${control}]`) ?? again?.querySelector("button");
        target?.focus();
        if (selection && target instanceof HTMLInputElement) target.setSelectionRange(...selection);
    };
}

function row(project, controls) {
    if (renaming.id === project.id) return element("li", { "data-id": project.id }, renameForm(project));
    return element(
        "li",
        { "data-id": project.id },
        element("strong", { class: "words", dir: "auto" }, project.name),
        element("div", { class: "controls", role: "group", "aria-label": `Actions for ${project.name}` }, ...controls),
    );
}

function control(name, text, label, act, attributes = {}) {
    return element("button", { type: "button", class: "quiet", "data-control": name, "aria-label": label, click: act, ...attributes }, text);
}

function activeControls(project, at, active) {
    const { name } = project;
    const isFirst = at === 0;
    const isLast = at === active.length - 1;
    // Not `disabled`, which would take the focus away from whoever moves a project to an end.
    return [
        control("up", "↑", `Move ${name} up`, () => isFirst || moveTo(project, active[at - 1]), { "aria-disabled": String(isFirst) }),
        control("down", "↓", `Move ${name} down`, () => isLast || moveTo(project, active[at + 1]), { "aria-disabled": String(isLast) }),
        control("rename", "Rename", `Rename ${name}`, () => startRenaming(project)),
        control("archive", "Archive", `Archive ${name}`, () => setArchived(project, true)),
    ];
}

function archivedControls(project) {
    const { name } = project;
    return [
        control("rename", "Rename", `Rename ${name}`, () => startRenaming(project)),
        control("archive", "Bring back", `Bring ${name} back`, () => setArchived(project, false)),
    ];
}

/** @param {Project} project */
function renameForm(project) {
    const field = element("input", {
        "data-control": "name",
        required: true,
        maxlength: "100",
        autocomplete: "off",
        "aria-label": `New name of ${project.name}`,
        value: renaming.text,
        input: () => (renaming.text = field.value),
        keydown: (event) => event.key === "Escape" && stopRenaming(project),
    });
    return element(
        "form",
        {
            class: "line",
            submit: (event) => {
                event.preventDefault();
                rename(project, field.value);
            },
        },
        field,
        element("button", { class: "primary", "data-control": "save" }, "Save"),
        element("button", { type: "button", "data-control": "cancel", click: () => stopRenaming(project) }, "Cancel"),
    );
}

function startRenaming(project) {
    renaming = { id: project.id, text: project.name };
    show(projects);
    const field = document.querySelector(`[data-id="${CSS.escape(project.id)}"] input`);
    field.focus();
    field.select();
}

function stopRenaming(project) {
    renaming = { id: null, text: "" };
    show(projects);
    document.querySelector(`[data-id="${CSS.escape(project.id)}"] [data-control=rename]`)?.focus();
}

function rename(project, name) {
    return attempt("The project was not renamed.", async () => {
        projects = await patch(project, { name });
        stopRenaming(project);
        announce(`The project is now called ${name}`);
    });
}

/** Puts a project where another one is now; archived ones have places among the others, too. */
function moveTo(project, other) {
    return attempt("The project was not moved.", async () => {
        show(await patch(project, { place: projects.findIndex(({ id }) => id === other.id) }));
        const active = projects.filter((one) => !one.archived);
        announce(`${project.name} is now ${active.findIndex(({ id }) => id === project.id) + 1} of ${active.length}`);
    });
}

function setArchived(project, archived) {
    return attempt(archived ? "The project was not archived." : "The project was not brought back.", async () => {
        show(await patch(project, { archived }));
        announce(archived ? `${project.name} is archived` : `${project.name} is back`);
    });
}

/** @returns {Promise<Project[]>} */
function patch(project, fields) {
    return change("PATCH", `/web/projects/${encodeURIComponent(project.id)}`, fields);
}
