/** Shows moments: how long ago, and exactly when in the person's own time zone. */

import { element } from "./dom.js";

const language = "en-GB";
const relative = new Intl.RelativeTimeFormat(language, { numeric: "auto" });
const exact = new Intl.DateTimeFormat(language, { dateStyle: "full", timeStyle: "long" });
const day = new Intl.DateTimeFormat(language, { dateStyle: "medium" });

const minute = 60;
const hour = 60 * minute;
const dayLength = 24 * hour;

/** @param {Date} date */
function ago(date) {
    const seconds = (date - Date.now()) / 1000;
    const age = Math.abs(seconds);
    if (age < minute) return "just now";
    if (age < hour) return relative.format(Math.trunc(seconds / minute), "minute");
    if (age < dayLength) return relative.format(Math.trunc(seconds / hour), "hour");
    if (age < 7 * dayLength) return relative.format(Math.trunc(seconds / dayLength), "day");
    return day.format(date);
}

/** @param {string} iso a moment; anything else is shown as it stands */
export function moment(iso) {
    const date = new Date(iso);
    if (Number.isNaN(date.getTime())) return element("span", {}, iso);
    return element("time", { datetime: iso, title: exact.format(date) }, ago(date));
}

/** Keeps all moments on the page true as time goes by. */
export function keepMomentsTrue() {
    setInterval(() => {
        for (const shown of document.querySelectorAll("time")) {
            const text = ago(new Date(shown.dateTime));
            if (shown.textContent !== text) shown.textContent = text;
        }
    }, 30_000);
}
