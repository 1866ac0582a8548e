/** Says why there is nothing on the list, and what can be done about it. */

import { byId, element } from "./dom.js";
import { get, session } from "./requests.js";

/** @param {import("./filters.js").Filters} filters */
export async function explainEmptyList(filters) {
    const place = byId("empty");
    place.replaceChildren(...(await explanation(filters)));
}

async function explanation(filters) {
    if (!filters.isPlain)
        return [
            element("h2", {}, "Nothing found"),
            element("p", {}, "No branch fits this search and these filters."),
            element("button", { type: "button", click: () => filters.clear() }, "Clear search and project"),
        ];
    const { branches } = await get("/web/branches?state=any");
    if (branches.length > 0)
        return filters.state === "done"
            ? [element("h2", {}, "Nothing done yet"), element("p", {}, "Branches that are marked as done are found here.")]
            : [element("h2", {}, "Nothing open"), element("p", {}, "Every branch is marked as done.")];
    const { base_url: address } = await session();
    return [
        element("h2", {}, "No branches yet"),
        element("p", {}, "Connect the agent to this inbox, and what you branch off appears here by itself."),
        element(
            "ol",
            { class: "steps" },
            element("li", {}, "Give the agent the base URL ", element("code", {}, address), "."),
            element("li", {}, "Create a key under ", element("a", { href: "/settings" }, "Settings"), ", which has all the steps."),
            element("li", {}, "Press ", element("kbd", {}, "Super"), "+", element("kbd", {}, "Shift"), "+", element("kbd", {}, "B"), " anywhere."),
        ),
    ];
}
