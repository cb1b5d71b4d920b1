// The columns of the table: text, least width, and which are dropped first when space is short.
import { count, pageOf, referrerSite, shown, timeOf, visitorName } from "./format.js";
import { recall, remember } from "./prefs.js";

// `rank`: columns of the highest rank are dropped first. `grow`: share of the spare width.
export const kColumns = [
  { id: "site", caption: "Site", least: 96, grow: 1, rank: 6, text: (v, store) => shown(store.siteName(v.site), 60) },
  { id: "visitor", caption: "Visitor", least: 202, grow: 3, rank: 0, text: (v) => shown(visitorName(v), 200) },
  { id: "page", caption: "Page", least: 124, grow: 4, rank: 1, text: (v) => shown(pageOf(v)) },
  { id: "pages", caption: "Pages", least: 62, grow: 0, rank: 4, number: true, text: (v) => count(v.pages) },
  { id: "last_hit", caption: "Last hit", least: 104, grow: 0, rank: 2, number: true, text: (v) => timeOf(v.last_hit) },
  { id: "started", caption: "Started", least: 104, grow: 0, rank: 5, number: true, text: (v) => timeOf(v.started) },
  { id: "country", caption: "Country", least: 78, grow: 0, rank: 3, tag: true, text: (v) => shown(v.country ?? "", 8) },
  { id: "referrer", caption: "Came from", least: 104, grow: 2, rank: 7,
    text: (v) => shown(referrerSite(v.referrer), 200) },
  { id: "browser", caption: "Browser", least: 100, grow: 1, rank: 8,
    text: (v) => shown(v.spider || v.browser || "", 80) },
  { id: "status", caption: "Status", least: 70, grow: 0, rank: 9, number: true, text: (v) => String(v.status ?? "") },
  { id: "visits", caption: "Visits", least: 70, grow: 0, rank: 10, number: true, text: (v) => count(v.visits) },
  { id: "user", caption: "User", least: 100, grow: 1, rank: 11, off: true, text: (v) => shown(v.user ?? "", 80) },
  { id: "address", caption: "Address", least: 130, grow: 1, rank: 12, off: true, text: (v) => shown(v.address, 80) },
  { id: "method", caption: "Method", least: 80, grow: 0, rank: 13, off: true, text: (v) => shown(v.method ?? "", 20) },
  { id: "not_found", caption: "Not found", least: 92, grow: 0, rank: 14, off: true, number: true,
    text: (v) => count(v.not_found) },
  { id: "agent", caption: "User agent", least: 200, grow: 2, rank: 15, off: true, text: (v) => shown(v.agent ?? "") },
];

export const columnOf = (id) => kColumns.find((column) => column.id === id);

// What the default columns depend on: sites and countries are no news where there is one or none.
export function presentIn(store) {
  return { site: store.sites.size > 1, country: store.hasCountry };
}

// The columns to show: the user's choice, else the defaults.
export function wantedColumns(present) {
  const chosen = recall("columns", {});
  return kColumns.filter((column) => {
    if (column.id === "visitor") return true;
    if (Object.hasOwn(chosen, column.id)) return Boolean(chosen[column.id]);
    return present[column.id] ?? !column.off;
  });
}

export function chooseColumn(id, on) {
  remember("columns", { ...recall("columns", {}), [id]: on });
}

// The wanted columns that fit into `room`, in order.
export function fittingColumns(wanted, room) {
  let taken = 0;
  const fit = new Set();
  for (const column of [...wanted].sort((a, b) => a.rank - b.rank)) {
    if (fit.size > 1 && taken + column.least > room) break;
    taken += column.least;
    fit.add(column);
  }
  return wanted.filter((column) => fit.has(column));
}

export function gridTemplate(columns) {
  const width = (column) => `${(column.least / 14).toFixed(2)}em`;
  return columns.map((c) => (c.grow ? `minmax(${width(c)}, ${c.grow}fr)` : width(c))).join(" ");
}
