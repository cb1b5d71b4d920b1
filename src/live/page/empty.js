// What an empty table says: why it is empty and what to do next.
import { byId, setText } from "./dom.js";
import { counted, momentOf } from "./format.js";

function words(store, filtered) {
  if (!store.loaded) return { title: "Loading", text: "One moment." };
  if (store.sites.size === 0) {
    return {
      title: "No site is watched yet",
      text: "Tell Vantry where a web server writes its access log. Visitors appear here seconds after their first hit.",
      code: "vantryctl add-site DIR --name \"My site\" --domain www.example.org /var/log/nginx/access.log",
    };
  }
  if (filtered && store.rows.size > 0) {
    const others = counted(store.rows.size, "visitor is", "visitors are");
    return { title: "No visitor matches", text: `${others} on your sites.`, clear: true };
  }
  let newest = null;
  for (const site of store.sites.values()) {
    if (site.last_line && (newest === null || Date.parse(site.last_line) > Date.parse(newest))) newest = site.last_line;
  }
  const last = newest ? `The newest log line was written on ${momentOf(newest)}.` : "No log line has been read yet.";
  return {
    title: "Nobody is here right now",
    text: `${last} A row appears here as soon as somebody opens a page. Try it: open your site in another tab.`,
  };
}

export function showEmpty(store, rows, filtered) {
  const box = byId("empty");
  box.hidden = rows > 0;
  if (rows > 0) return;
  const { title, text, code = "", clear = false } = words(store, filtered);
  setText(byId("empty-title"), title);
  setText(byId("empty-text"), text);
  setText(byId("empty-code"), code);
  byId("empty-code").hidden = !code;
  byId("clear-empty").hidden = !clear;
}
