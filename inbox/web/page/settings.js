/** The page of the settings: puts its parts together. */

import { copyButton } from "./copy-button.js";
import { byId } from "./dom.js";
import { restoreDrafts } from "./drafts.js";
import { startKeySettings } from "./key-settings.js";
import { followChanges } from "./live-updates.js";
import { attempt } from "./messages.js";
import { keepMomentsTrue } from "./moments.js";
import { loadProjects, startProjectSettings } from "./project-settings.js";
import { change, get, session } from "./requests.js";

function showSession({ account, base_url: address, version }) {
    const field = byId("base-url");
    field.value = address;
    field.closest(".line").append(copyButton(field, "base URL"));
    byId("preference").textContent = JSON.stringify({ "quibel.apiBaseURL": address }, null, 2);
    byId("environment").textContent = `QUIBEL_API_BASE_URL=${address} quibel-capture-agent`;
    byId("who").textContent = `Signed in as ${account.name}. quibel-inbox ${version}.`;
}

restoreDrafts();
byId("sign-out").addEventListener("click", () =>
    attempt("You are still signed in.", async () => {
        await change("POST", "/sign-out");
        location.assign("/sign-in");
    }),
);
attempt("Who is signed in could not be told.", async () => showSession(await session()));
startKeySettings();
startProjectSettings();
keepMomentsTrue();

const readAgain = () => loadProjects().catch(() => {});
followChanges({
    connected: readAgain,
    lost: () => get("/web/session").catch(() => {}),
    branch() {},
    projects: readAgain,
});
