/** Shows the list of branches, and changes it without moving what the person reads or their focus. */

/** @typedef {import("./branch-pages.js").Branch} Branch */

export class BranchFeed {
    /**
     * @param {HTMLElement} container
     * @param {(branch: Branch) => HTMLElement} makeCard
     */
    constructor(container, makeCard) {
        this.container = container;
        this.makeCard = makeCard;
        /** @type {Map<string, {content: string, card: HTMLElement, branch: Branch}>} */
        this.shown = new Map();
    }

    /** The branch that has the focus, if one has. */
    get current() {
        const card = document.activeElement?.closest(".feed > article");
        return [...this.shown.values()].find((entry) => entry.card === card)?.branch ?? null;
    }

    /** Whether the person is somewhere in the list, rather than before it. */
    get isBeingRead() {
        return scrollY > 0 || this.container.contains(document.activeElement);
    }

    /**
     * Shows exactly these branches; cards that say the same as before stay as they are.
     *
     * @param {Branch[]} branches
     */
    show(branches) {
        const anchor = this.isBeingRead ? this.#anchor() : null;
        const height = anchor?.getBoundingClientRect().top;
        const refocus = this.#rememberFocus(branches);

        this.#remove(branches);
        const cards = branches.map((branch) => this.#cardOf(branch));
        let place = this.container.firstElementChild;
        cards.forEach((card, index) => {
            if (card === place) place = place.nextElementSibling;
            else this.container.insertBefore(card, place);
            card.setAttribute("aria-posinset", String(index + 1));
            card.setAttribute("aria-setsize", "-1");
        });

        refocus();
        const held = anchor && (anchor.isConnected ? anchor : this.shown.get(anchor.dataset.id)?.card);
        if (held) scrollBy({ top: held.getBoundingClientRect().top - height, behavior: "instant" });
    }

    /** Moves the focus by so many branches; from outside the list to the first one in sight. */
    step(by) {
        const cards = [...this.container.children];
        const at = cards.findIndex((card) => card.contains(document.activeElement));
        const target = at >= 0 ? cards[at + by] : this.#firstInSight();
        target?.focus();
        target?.scrollIntoView({ block: "nearest" });
    }

    focusFirst() {
        this.container.firstElementChild?.focus();
    }

    #cardOf(branch) {
        const content = JSON.stringify(branch);
        const entry = this.shown.get(branch.id);
        if (entry?.content === content) return entry.card;
        const card = this.makeCard(branch);
        card.dataset.id = branch.id;
        entry?.card.replaceWith(card);
        this.shown.set(branch.id, { content, card, branch });
        return card;
    }

    #remove(branches) {
        const wanted = new Set(branches.map(({ id }) => id));
        for (const [id, { card }] of this.shown) {
            if (wanted.has(id)) continue;
            card.remove();
            this.shown.delete(id);
        }
    }

    /** The card that must stay where it is on the screen. */
    #anchor() {
        return document.activeElement?.closest(".feed > article") ?? this.#firstInSight();
    }

    #firstInSight() {
        const top = document.querySelector(".filters").getBoundingClientRect().bottom;
        return [...this.container.children].find((card) => card.getBoundingClientRect().bottom > top) ?? null;
    }

    /**
     * What puts the focus back after the change: on the same control of the same branch, or, when that has gone,
     * on the branch that took its place.
     */
    #rememberFocus(branches) {
        const card = document.activeElement?.closest(".feed > article");
        if (!card) return () => {};
        const { id } = card.dataset;
        const control = document.activeElement.dataset.control;
        const staying = new Set(branches.map((branch) => branch.id));
        const cards = [...this.container.children];
        const at = cards.indexOf(card);
        const heir = [...cards.slice(at), ...cards.slice(0, at).reverse()].find((one) => staying.has(one.dataset.id));
        return () => {
            if (card.isConnected && card.contains(document.activeElement)) return;
            const next = this.shown.get(heir?.dataset.id)?.card;
            const same = next && next.dataset.id === id && control;
            const target = (same && next.querySelector(`[data-control="${CSS.escape(control)}"]`)) || next || this.container;
            target.focus({ preventScroll: true });
        };
    }
}
