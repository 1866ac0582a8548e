/** Hears from the service what has changed, for as long as the page is looked at. */

const firstPause = 1_000;
const longestPause = 30_000;

/**
 * The stream is closed while the page is hidden: a browser allows few connections to one service.
 *
 * @param {{connected(): void, lost(): void, branch(id: string): void, projects(): void}} listener
 *   `connected` is called each time that news flow again; what happened before must be asked for then.
 */
export function followChanges(listener) {
    /** @type {EventSource|null} */
    let source = null;
    let timer;
    let pause = firstPause;

    function close() {
        clearTimeout(timer);
        source?.close();
        source = null;
    }

    function open() {
        close();
        const opened = new EventSource("/web/events");
        source = opened;
        opened.addEventListener("hello", () => {
            pause = firstPause;
            listener.connected();
        });
        opened.addEventListener("branch", (event) => listener.branch(JSON.parse(event.data).id));
        opened.addEventListener("projects", () => listener.projects());
        opened.addEventListener("error", () => {
            if (source !== opened) return;
            listener.lost();
            // Browsers give up for good on some errors, and wait as they like after others.
            close();
            timer = setTimeout(open, pause);
            pause = Math.min(2 * pause, longestPause);
        });
    }

    document.addEventListener("visibilitychange", () => (document.hidden ? close() : open()));
    addEventListener("online", () => document.hidden || open());
    if (!document.hidden) open();
}
