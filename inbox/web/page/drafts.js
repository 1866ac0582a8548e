/** Keeps what was typed but not yet sent while the person signs in again. */

const storageKey = "drafts";

/** @returns {NodeListOf<HTMLInputElement>} */
function fields() {
    return document.querySelectorAll("form[id] input[name][required]");
}

export function keepDrafts() {
    const typed = [...fields()].map((field) => [field.form.id, field.name, field.value]);
    sessionStorage.setItem(storageKey, JSON.stringify(typed.filter(([, , value]) => value !== "")));
}

/** Puts back what `keepDrafts` kept, once. */
export function restoreDrafts() {
    const typed = JSON.parse(sessionStorage.getItem(storageKey) ?? "[]");
    sessionStorage.removeItem(storageKey);
    for (const [form, name, value] of typed) {
        const field = [...fields()].find((one) => one.form.id === form && one.name === name);
        if (field) field.value = value;
    }
}
