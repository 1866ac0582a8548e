/** Builds elements. Text always becomes text, never markup. */

/**
 * An attribute that is true is there without a value; one that is false or null is not there.
 * A function is a listener for the event of that name.
 *
 * @param {string} name
 * @param {Record<string, unknown>} attributes
 * @param {...(Node|string|null)} children
 */
export function element(name, attributes = {}, ...children) {
    const made = document.createElement(name);
    for (const [key, value] of Object.entries(attributes)) {
        if (typeof value === "function") made.addEventListener(key, value);
        else if (value !== false && value !== null && value !== undefined)
            made.setAttribute(key, value === true ? "" : String(value));
    }
    made.append(...children.filter((child) => child !== null));
    return made;
}

/** @param {string} id */
export function byId(id) {
    return document.getElementById(id);
}
