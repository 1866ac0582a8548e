/** The branches that were asked for so far, newest first, kept equal to what the service has. */

import { get } from "./requests.js";

/**
 * @typedef {{picture: string, width: number, height: number}} Screenshot
 * @typedef {{id: string, number: number, title: string, text: string, app_name: string, bundle_id: string,
 *   window_title: string|null, captured_at: string, received_at: string, project: {id: string, name: string}|null,
 *   done: boolean, deleted: boolean, likely_double: boolean, screenshots: Screenshot[]}} Branch
 */

export class BranchPages {
    /**
     * @param {import("./filters.js").Filters} filters
     * @param {(arrived: number) => void} changed called after each change, with how many are new at the top
     */
    constructor(filters, changed) {
        this.filters = filters;
        this.changed = changed;
        /** @type {Map<string, Branch>} */
        this.known = new Map();
        this.next = null;
        this.newest = 0;
        this.pages = 0;
        this.overtaken = new AbortController();
    }

    /** @returns {Branch[]} */
    get branches() {
        return [...this.known.values()].sort((one, other) => other.number - one.number);
    }

    get hasMore() {
        return this.next !== null;
    }

    /** Begins anew with what the filters say; whatever is still under way is given up. */
    async load() {
        this.overtaken.abort();
        this.overtaken = new AbortController();
        const page = await this.#fetch(null);
        this.known.clear();
        this.newest = 0;
        this.pages = 1;
        this.#take(page);
        this.changed(0);
    }

    async more() {
        const page = await this.#fetch(this.next);
        this.pages += 1;
        this.#take(page);
        this.changed(0);
    }

    /** Reads everything on the list once more, as after a time without news. */
    async refresh() {
        if (this.pages === 0) return this.load();
        const before = this.newest;
        const fetched = [];
        let next = null;
        for (let page = 0; page < this.pages && (page === 0 || next !== null); page += 1) {
            const answer = await this.#fetch(next);
            fetched.push(...answer.branches);
            next = answer.next;
        }
        this.known.clear();
        this.#take({ branches: fetched, next });
        this.changed(fetched.filter(({ number }) => number > before).length);
    }

    /** Asks for one branch anew, which may thereby come onto the list or leave it. */
    async update(id) {
        try {
            await this.put(await this.#fetchOne(id));
        } catch (error) {
            if (error.status !== 404) throw error;
            this.known.delete(id);
            this.changed(0);
        }
    }

    /** Takes a branch as the service has it now; those that it doubles, or no longer does, change with it. */
    async put(branch) {
        await this.#place(branch);
        const doubles = [...this.known.values()].filter(
            ({ id, text, captured_at: moment }) => id !== branch.id && text === branch.text && moment === branch.captured_at,
        );
        for (const { id } of doubles) await this.#place(await this.#fetchOne(id));
    }

    /** Puts a branch in its place on the list, or takes it off. */
    async #place(branch) {
        const belongs = this.filters.admits(branch) && (await this.#isFound(branch));
        const arrives = belongs && branch.number > this.newest;
        if (!belongs) this.known.delete(branch.id);
        else if (this.next === null || branch.number >= this.next) this.known.set(branch.id, branch);
        if (arrives) this.newest = branch.number;
        this.changed(arrives ? 1 : 0);
    }

    /** Whether the search finds the branch: then it leads the page that begins with it. */
    async #isFound(branch) {
        if (this.filters.search === "" || this.known.has(branch.id)) return true;
        const { branches } = await this.#fetch(branch.number + 1);
        return branches[0]?.id === branch.id;
    }

    #take({ branches, next }) {
        for (const branch of branches) this.known.set(branch.id, branch);
        this.newest = Math.max(this.newest, ...branches.map(({ number }) => number));
        this.next = next;
    }

    /** @returns {Promise<Branch>} */
    #fetchOne(id) {
        return get(`/web/branches/${encodeURIComponent(id)}`, this.overtaken.signal);
    }

    /** @returns {Promise<{branches: Branch[], next: number|null}>} */
    #fetch(before) {
        const query = this.filters.query();
        if (before !== null) query.set("before", before);
        return get(`/web/branches?${query}`, this.overtaken.signal);
    }
}
