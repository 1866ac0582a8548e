/** The page that asks for the password. */

import { byId } from "./dom.js";

const form = byId("sign-in");

/** Where the person was, if that is a page of this service; else the branches. */
function destination() {
    const next = new URLSearchParams(location.search).get("next");
    if (next === null || !URL.canParse(next, location.origin)) return "/";
    const wanted = new URL(next, location.origin);
    return wanted.origin === location.origin ? wanted.href : "/";
}

/** @param {Response} response */
function refusal(response) {
    if (response.status === 401) return "The account or the password is not right.";
    if (response.status !== 429) return `The inbox answered with an error (${response.status}).`;
    const seconds = Number(response.headers.get("Retry-After") ?? 60);
    const [count, unit] = seconds < 60 ? [seconds, "second"] : [Math.ceil(seconds / 60), "minute"];
    return `Too many tries. Try again in ${count} ${count === 1 ? unit : `${unit}s`}.`;
}

function refuse(text) {
    byId("refusal").textContent = text;
    byId("password").focus();
    byId("password").select();
}

async function signIn() {
    byId("refusal").textContent = "";
    const { account, password } = form.elements;
    const body = JSON.stringify({ account: account.value, password: password.value });
    try {
        const response = await fetch("/sign-in", { method: "POST", headers: { "Content-Type": "application/json" }, body });
        if (response.ok) location.replace(destination());
        else refuse(refusal(response));
    } catch {
        refuse("The inbox cannot be reached.");
    }
}

form.addEventListener("submit", (event) => {
    event.preventDefault();
    signIn();
});
byId("used-link").hidden = location.hash !== "#link";
byId("account").focus();
