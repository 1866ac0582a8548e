/** Shows a screenshot at its full size. */

import { byId, element } from "./dom.js";

/**
 * @param {import("./branch-pages.js").Branch} branch
 * @param {import("./branch-pages.js").Screenshot} screenshot
 */
export function openPicture(branch, screenshot) {
    const { picture, width, height } = screenshot;
    const dialog = byId("picture");
    dialog.replaceChildren(
        element(
            "header",
            {},
            element("h2", { id: "picture-title", dir: "auto" }, branch.title || "Untitled"),
            element("a", { href: picture, target: "_blank", rel: "noopener" }, `Open the picture itself (${width} × ${height})`),
            element("button", { type: "button", autofocus: true, click: () => dialog.close() }, "Close"),
        ),
        element("img", { src: picture, width, height, alt: `Screenshot of “${branch.window_title ?? branch.app_name}”` }),
    );
    dialog.showModal();
}
