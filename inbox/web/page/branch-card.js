/** Shows one branch. */

import { element } from "./dom.js";
import { moment } from "./moments.js";

const longText = 400;

/**
 * @typedef {import("./branch-pages.js").Branch} Branch
 * @typedef {import("./branch-pages.js").Screenshot} Screenshot
 * @typedef {{toggleDone(branch: Branch): void, move(branch: Branch): void, remove(branch: Branch): void,
 *   openPicture(branch: Branch, screenshot: Screenshot): void}} CardActions
 */

/**
 * @param {Branch} branch
 * @param {CardActions} actions
 */
export function branchCard(branch, actions) {
    const titleId = `title-${branch.id}`;
    const aboutId = `about-${branch.id}`;
    return element(
        "article",
        {
            class: branch.done ? "branch done" : "branch",
            tabindex: "0",
            "aria-labelledby": titleId,
            "aria-describedby": aboutId,
        },
        element(
            "div",
            { class: "words" },
            element("h2", { id: titleId, dir: "auto" }, branch.title || "Untitled"),
            ...textOf(branch),
            element("div", { class: "foot" }, about(branch, aboutId), controls(branch, actions)),
        ),
        pictures(branch, actions),
    );
}

/** The text, unless the title says it already. */
function textOf(branch) {
    const text = branch.text.trim();
    if (text === "" || text === branch.title.trim()) return [];
    const shown = element("p", { class: "text", dir: "auto" }, text);
    if (text.length <= longText && text.split("\n").length <= 6) return [shown];
    shown.classList.add("short");
    const toggle = element(
        "button",
        {
            type: "button",
            class: "quiet unfold",
            "aria-expanded": "false",
            "data-control": "unfold",
            click: () => {
                const isShort = shown.classList.toggle("short");
                toggle.setAttribute("aria-expanded", String(!isShort));
                toggle.textContent = isShort ? "Show all of it" : "Show less";
            },
        },
        "Show all of it",
    );
    return [shown, toggle];
}

function about(branch, id) {
    const parts = [
        branch.done ? element("li", { class: "mark" }, "Done") : null,
        branch.likely_double
            ? element("li", { class: "mark warn", title: "Another branch has the same content and capture time." }, "Likely a double")
            : null,
        element("li", { class: branch.project ? "mark of-project" : "of-project", dir: "auto" }, branch.project?.name ?? "No project"),
        branch.app_name || branch.bundle_id
            ? element("li", { dir: "auto", title: branch.bundle_id || null }, branch.app_name || branch.bundle_id)
            : null,
        branch.window_title ? element("li", { class: "window", dir: "auto" }, branch.window_title) : null,
        element("li", {}, moment(branch.captured_at)),
    ];
    return element("ul", { class: "about", id }, ...parts);
}

function controls(branch, actions) {
    const control = (name, text, act, attributes = {}) =>
        element("button", { type: "button", class: "quiet", "data-control": name, click: () => act(branch), ...attributes }, text);
    return element(
        "div",
        { class: "controls", role: "group", "aria-label": `Actions for ${branch.title}` },
        control("done", branch.done ? "Reopen" : "Done", actions.toggleDone, { "aria-keyshortcuts": "e" }),
        control("move", "Move…", actions.move, { "aria-keyshortcuts": "m", "aria-haspopup": "dialog" }),
        control("delete", "Delete", actions.remove, { "aria-keyshortcuts": "# Delete" }),
    );
}

function pictures(branch, actions) {
    if (branch.screenshots.length === 0) return null;
    return element("div", { class: "pictures" }, ...branch.screenshots.map((screenshot) => thumbnail(branch, screenshot, actions)));
}

function thumbnail(branch, screenshot, actions) {
    const { picture, width, height } = screenshot;
    return element(
        "button",
        {
            type: "button",
            class: "thumbnail",
            "data-control": `picture ${picture}`,
            "aria-label": `Open the screenshot of “${branch.title}”, ${width} by ${height} pixels`,
            "aria-haspopup": "dialog",
            click: () => actions.openPicture(branch, screenshot),
        },
        element("img", {
            alt: "",
            loading: "lazy",
            decoding: "async",
            width,
            height,
            src: picture,
            error: (event) => event.target.replaceWith(element("span", { class: "secondary" }, "The picture cannot be shown.")),
        }),
    );
}
