/** The page of the branches: puts its parts together. */

import { branchCard } from "./branch-card.js";
import { BranchFeed } from "./branch-feed.js";
import { BranchPages } from "./branch-pages.js";
import { byId } from "./dom.js";
import { explainEmptyList } from "./empty-list.js";
import { Filters } from "./filters.js";
import { followChanges } from "./live-updates.js";
import { announce, attempt } from "./messages.js";
import { keepMomentsTrue } from "./moments.js";
import { askForProject } from "./move-dialog.js";
import { openPicture } from "./picture-dialog.js";
import { change, get, wasOvertaken } from "./requests.js";
import { listenForKeys } from "./shortcuts.js";
import { offerUndo, undo } from "./undo-bar.js";

const filters = new Filters(async () => {
    await load();
    scrollTo({ top: 0 });
});
const pages = new BranchPages(filters, show);
const feed = new BranchFeed(byId("feed"), (branch) => branchCard(branch, { toggleDone, move, remove, openPicture }));

let projects = [];
let unseen = 0;
/** How many are under way: a newer one overtakes those before. */
let loads = 0;

async function load() {
    unseen = 0;
    byId("feed").setAttribute("aria-busy", "true");
    loads += 1;
    const loaded = await attempt("The branches could not be loaded.", () => pages.load());
    loads -= 1;
    byId("loading").hidden = true;
    if (loads === 0) byId("feed").setAttribute("aria-busy", "false");
    if (!loaded) return;
    const count = pages.branches.length;
    if (!filters.isPlain) announce(count === 0 ? "Nothing found" : `${pages.hasMore ? "More than " : ""}${counted(count)}`);
}

function counted(count) {
    return count === 1 ? "1 branch" : `${count} branches`;
}

/** @param {number} arrived how many came at the top since the last time */
function show(arrived) {
    const { branches } = pages;
    feed.show(branches);
    byId("more").hidden = !pages.hasMore;
    byId("empty").hidden = branches.length > 0;
    if (branches.length === 0) keepUp(() => explainEmptyList(filters));
    if (arrived > 0) tellOfNew(arrived);
}

/** What came in above what the person reads is not pushed into their view; a button leads there. */
function tellOfNew(arrived) {
    unseen += arrived;
    const text = unseen === 1 ? "1 new branch" : `${unseen} new branches`;
    announce(text);
    byId("newer").textContent = text;
    if (scrollY === 0) forgetNew();
    else byId("newer").hidden = false;
}

function forgetNew() {
    unseen = 0;
    byId("newer").hidden = true;
}

/** Asks for a change of a branch and shows what became of it. */
async function patch(branch, fields) {
    await pages.put(await change("PATCH", `/web/branches/${encodeURIComponent(branch.id)}`, fields));
}

/** Changes a branch in a way that can be taken back. */
async function patchUndoably(branch, fields, previous, what, failure) {
    if (await attempt(failure, () => patch(branch, fields))) offerUndo(what, () => patch(branch, previous));
}

function toggleDone(branch) {
    const { title, done } = branch;
    return patchUndoably(
        branch,
        { done: !done },
        { done },
        done ? `Reopened “${title}”` : `Marked “${title}” as done`,
        done ? "The branch was not reopened." : "The branch was not marked as done.",
    );
}

function remove(branch) {
    return patchUndoably(branch, { deleted: true }, { deleted: false }, `Deleted “${branch.title}”`, "The branch was not deleted.");
}

function move(branch) {
    askForProject(branch, projects, (id) => {
        const name = projects.find((project) => project.id === id)?.name;
        const what = name === undefined ? `Took “${branch.title}” out of its project` : `Moved “${branch.title}” to ${name}`;
        patchUndoably(branch, { project_id: id }, { project_id: branch.project?.id ?? null }, what, "The branch was not moved.");
    });
}

async function loadProjects() {
    projects = await get("/web/projects");
    filters.offer(projects);
}

/** Branches carry the names of their projects, which may have changed with them. */
async function readAgain() {
    await loadProjects();
    await pages.refresh();
}

async function loadMore() {
    const button = byId("more");
    if (button.disabled) return;
    const hadFocus = document.activeElement === button;
    const last = byId("feed").lastElementChild;
    button.disabled = true;
    await attempt("No more branches could be loaded.", () => pages.more());
    button.disabled = false;
    if (hadFocus) last?.nextElementSibling?.focus();
}

/** Does something that nobody asked for, to keep the page true; only a failure is told. */
async function keepUp(action) {
    try {
        await action();
    } catch (error) {
        if (!wasOvertaken(error)) byId("connection").textContent = `The list may be out of date. ${error.message}`;
    }
}

/** Works off what the service tells one after the other, so that the latest state is shown last. */
const changedIds = new Set();
let working = false;
async function bringUpToDate(id) {
    changedIds.add(id);
    if (working) return;
    working = true;
    while (changedIds.size > 0) {
        const ids = [...changedIds];
        changedIds.clear();
        if (ids.length > 10) await keepUp(() => pages.refresh());
        else for (const one of ids) await keepUp(() => pages.update(one));
    }
    working = false;
}

function focusSearch() {
    byId("search").focus();
    byId("search").select();
}

/** Does something with the branch that has the focus, if one has. */
function withCurrent(act) {
    const { current } = feed;
    return current ? void act(current) : false;
}

function openFirstPicture(branch) {
    if (branch.screenshots.length > 0) openPicture(branch, branch.screenshots[0]);
    else announce("This branch has no screenshot");
}

listenForKeys([
    { keys: ["/"], does: "goes to the search", act: focusSearch },
    { keys: ["j"], does: "next branch", act: () => feed.step(1) },
    { keys: ["k"], does: "previous branch", act: () => feed.step(-1) },
    { keys: ["ArrowDown"], does: "next branch, from a branch", act: () => feed.step(1), within: ".feed, .feed *" },
    { keys: ["ArrowUp"], does: "previous branch, from a branch", act: () => feed.step(-1), within: ".feed, .feed *" },
    { keys: ["e"], does: "done, or open again", act: () => withCurrent(toggleDone) },
    { keys: ["m"], does: "moves to another project", act: () => withCurrent(move) },
    { keys: ["#", "Delete"], does: "deletes", act: () => withCurrent(remove) },
    { keys: ["o"], does: "opens the screenshot", act: () => withCurrent(openFirstPicture) },
    { keys: ["Enter"], does: "opens the screenshot", act: () => withCurrent(openFirstPicture), within: "article" },
    { keys: ["z", "Ctrl+Z"], does: "takes the last change back", act: () => void undo() },
]);

byId("more").addEventListener("click", loadMore);
new IntersectionObserver(([entry]) => entry.isIntersecting && !byId("more").hidden && loadMore(), {
    rootMargin: "400px",
}).observe(byId("more"));

byId("newer").addEventListener("click", () => {
    forgetNew();
    scrollTo({ top: 0 });
    feed.focusFirst();
});
addEventListener("scroll", () => scrollY === 0 && forgetNew(), { passive: true });

load();
keepUp(loadProjects);
keepMomentsTrue();
followChanges({
    connected() {
        byId("connection").textContent = "";
        keepUp(readAgain);
    },
    lost() {
        byId("connection").textContent = "The connection is lost. What comes in meanwhile is shown when it is back.";
        // The stream does not tell why: a session that ended shows itself here, and leads to the sign-in page.
        get("/web/session").catch(() => {});
    },
    branch: bringUpToDate,
    projects: () => keepUp(readAgain),
});
