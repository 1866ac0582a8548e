/** Which branches are shown: kept in the address, so that reload, bookmark and back work. */

import { byId, element } from "./dom.js";

const typingPause = 150;

export class Filters {
    /** @param {() => void} changed called when the person asks for other branches */
    constructor(changed) {
        this.form = byId("filters");
        this.changed = changed;
        this.typing = false;
        this.wantedProject = "";
        this.#readAddress();

        let timer;
        const search = byId("search");
        search.addEventListener("input", () => {
            clearTimeout(timer);
            timer = setTimeout(() => this.#apply({ typing: true }), typingPause);
        });
        search.addEventListener("blur", () => (this.typing = false));
        for (const control of this.form.querySelectorAll("select, [type=radio]"))
            control.addEventListener("change", () => this.#apply({ typing: false }));
        this.form.addEventListener("submit", (event) => {
            event.preventDefault();
            clearTimeout(timer);
            this.#apply({ typing: true });
        });
        addEventListener("popstate", () => {
            clearTimeout(timer);
            this.#readAddress();
            this.changed();
        });
    }

    get search() {
        return this.form.search.value.trim();
    }
    get project() {
        return this.form.project.value;
    }
    /** @returns {"open"|"done"|"any"} */
    get state() {
        return this.form.state.value;
    }

    /** Whether nothing but the state restricts the list. */
    get isPlain() {
        return this.search === "" && this.project === "";
    }

    /** Whether a branch belongs on the list, as far as that can be told without the search. */
    admits(branch) {
        return (
            !branch.deleted &&
            (this.state === "any" || branch.done === (this.state === "done")) &&
            (this.project === "" || (branch.project?.id ?? "none") === this.project)
        );
    }

    /** The question to the service. */
    query() {
        const query = new URLSearchParams({ state: this.state });
        if (this.search !== "") query.set("search", this.search);
        if (this.project !== "") query.set("project", this.project);
        return query;
    }

    clear() {
        this.form.search.value = "";
        this.form.project.value = "";
        this.#apply({ typing: false });
    }

    /** Offers these projects, archived ones apart; the chosen one stays chosen. */
    offer(projects) {
        const chosen = this.project || this.wantedProject;
        const options = (list) => list.map(({ id, name }) => element("option", { value: id }, name));
        const archived = options(projects.filter((project) => project.archived));
        this.form.project.replaceChildren(
            element("option", { value: "" }, "All projects"),
            element("option", { value: "none" }, "No project"),
            ...options(projects.filter((project) => !project.archived)),
            ...(archived.length ? [element("optgroup", { label: "Archived" }, ...archived)] : []),
        );
        this.#choose(chosen);
    }

    #choose(project) {
        // The address may name a project before the list of them has come.
        this.wantedProject = project;
        const known = [...this.form.project.options].some((option) => option.value === project);
        if (!known) this.form.project.append(element("option", { value: project }, "Project…"));
        this.form.project.value = project;
    }

    #readAddress() {
        const asked = new URLSearchParams(location.search);
        const state = asked.get("state");
        this.form.search.value = asked.get("search") ?? "";
        this.form.state.value = ["done", "any"].includes(state) ? state : "open";
        this.#choose(asked.get("project") ?? "");
    }

    /** Typing makes one step back of it all, every other choice its own. */
    #apply({ typing }) {
        const asked = this.query();
        if (this.state === "open") asked.delete("state");
        const address = asked.size ? `/?${asked}` : "/";
        if (address === location.pathname + location.search) return;
        if (typing && this.typing) history.replaceState(null, "", address);
        else history.pushState(null, "", address);
        this.typing = typing;
        this.changed();
    }
}
