// The page's copy of what the program knows. Pure data, no DOM.
import { instantOf, pageOf, referrerSite, visitorName } from "./format.js";

export const kMostOfToday = 5000;

// One visitor. Rows are replaced, never modified, so a reference to one is a snapshot.
function makeRow(visitor, before, now) {
  return {
    key: visitor.key,
    v: visitor,
    started: instantOf(visitor.started),
    lastHit: instantOf(visitor.last_hit),
    came: before ? before.came : now,
    changed: now,
    left: false,
    text: null,
  };
}

// The text that is searched, in lower case, built on first use.
export function searchText(row) {
  if (row.text === null) {
    const v = row.v;
    row.text = [v.address, v.host, v.name, pageOf(v), v.referrer, v.agent, v.browser, v.user, v.country, v.country_name,
      v.spider].map((part) => String(part ?? "").slice(0, 1000)).join("\n").toLowerCase();
  }
  return row.text;
}

const kListOf = { come: "visitors", move: "visitors", leave: "visitors", site: "sites", alert: "alerts",
  exception: "exceptions" };

export class Store {
  constructor() {
    this.rows = new Map();
    this.sites = new Map();
    this.alerts = new Map();
    this.exceptions = new Map();
    this.spiders = [];
    this.program = null;
    this.rates = null;
    this.loaded = false;
    this.dirty = new Set();      // Keys of rows that changed since somebody took them.
    this.version = 0;            // Counts every change.
    this.hasCountry = false;     // A visitor's country has been known.
    this.spidersChanged = false; // A spider came: today's list is another.
    this.from = { visitors: -1, sites: -1, alerts: -1, exceptions: -1 };
  }

  // Takes over a list. Events up to its number are contained in it.
  setVisitors(list) {
    const before = this.rows;
    this.rows = new Map();
    for (const visitor of list.items) {
      const old = before.get(visitor.key);
      // Rows of a list aren't marked as new.
      const row = makeRow(visitor, old, 0);
      if (old && old.v.last_hit === visitor.last_hit) row.changed = old.changed;
      this.rows.set(visitor.key, row);
      if (visitor.country) this.hasCountry = true;
      this.dirty.add(visitor.key);
    }
    for (const key of before.keys()) if (!this.rows.has(key)) this.dirty.add(key);
    this.#set("visitors", list);
  }

  setSites(list) {
    this.sites = new Map(list.items.map((site) => [site.site, site]));
    this.#set("sites", list);
  }

  setAlerts(list) {
    this.alerts = new Map(list.items.map((alert) => [alert.id, alert]));
    this.#set("alerts", list);
  }

  setExceptions(list) {
    this.exceptions = new Map(list.items.map((exception) => [exception.id, exception]));
    this.#set("exceptions", list);
  }

  setSpiders(list) {
    this.spiders = list.items;
    this.spidersChanged = false;
    this.version += 1;
  }

  #set(name, list) {
    this.from[name] = list.event ?? -1;
    this.version += 1;
  }

  // Applies one event. Returns the alert if it is a new one, else null.
  apply(id, type, data, now) {
    const list = Object.hasOwn(kListOf, type) ? kListOf[type] : null;
    if (!list || (id !== null && id <= this.from[list])) return null;
    this.version += 1;
    if (type === "come" || type === "move") this.#see(data, now);
    else if (type === "leave") this.#leave(data.key, data.visit);
    else if (type === "site") this.sites.set(data.site, data);
    else if (type === "exception") this.#add(this.exceptions, data);
    else if (!this.alerts.has(data.id)) {
      this.#add(this.alerts, data);
      return data;
    }
    return null;
  }

  #see(visitor, now) {
    const before = this.rows.get(visitor.key);
    this.rows.set(visitor.key, makeRow(visitor, before, now));
    this.dirty.add(visitor.key);
    if (visitor.country) this.hasCountry = true;
    if (visitor.spider && !before?.v.spider) this.spidersChanged = true;
  }

  #leave(key, visit) {
    // The same address may already be back on another visit.
    const row = this.rows.get(key);
    if (!row || (visit !== undefined && row.v.visit !== visit)) return;
    this.rows.delete(key);
    this.dirty.add(key);
  }

  #add(map, item) {
    map.set(item.id, item);
    if (map.size > kMostOfToday) map.delete(map.keys().next().value);
  }

  takeDirty() {
    const taken = this.dirty;
    this.dirty = new Set();
    return taken;
  }

  siteName(number) {
    const site = this.sites.get(number);
    return site ? site.name || site.domain || `Site ${number}` : `Site ${number}`;
  }

  // The name of the site in addresses of the classic pages.
  siteDomain(number) {
    return this.sites.get(number)?.domain ?? "";
  }

  // The numbers of one site, or the sums over all.
  totals(site = null) {
    const sum = { visitors: 0, spiders: 0, today: 0, spidersToday: 0, alerts: 0, exceptions: 0 };
    for (const each of this.sites.values()) {
      if (site !== null && each.site !== site) continue;
      sum.today += each.visitors_today || 0;
      sum.spidersToday += each.spiders_today || 0;
      sum.alerts += each.alerts_today || 0;
      sum.exceptions += each.exceptions_today || 0;
    }
    for (const row of this.rows.values()) {
      if (site !== null && row.v.site !== site) continue;
      sum.visitors += 1;
      if (row.v.spider) sum.spiders += 1;
    }
    return sum;
  }

  // Counts visitors by page, referring site or country: [{key, label, count, site}], highest first.
  tally(kind, site = null) {
    const sums = new Map();
    const keyOf = kTallies[kind];
    for (const { v } of this.rows.values()) {
      if (site !== null && v.site !== site) continue;
      const label = keyOf(v);
      if (!label) continue;
      const key = kind === "page" ? `${v.site} ${label}` : label;
      const sum = sums.get(key);
      if (sum) sum.count += 1;
      else sums.set(key, { key, label, count: 1, site: v.site, name: v.country_name });
    }
    return [...sums.values()].sort((a, b) => b.count - a.count || (a.key < b.key ? -1 : 1));
  }

  countries() {
    const found = new Map();
    for (const { v } of this.rows.values()) if (v.country) found.set(v.country, v.country_name || v.country);
    return [...found].sort((a, b) => (a[1] < b[1] ? -1 : 1));
  }
}

const kTallies = {
  page: (v) => v.page,
  referrer: (v) => referrerSite(v.referrer),
  country: (v) => v.country,
};

// --- Filtering and sorting.

export const kNoFilter = { text: "", site: null, country: null, kind: "all", page: null, referrer: null };

export function isFiltered(filter) {
  return Object.keys(kNoFilter).some((name) => filter[name] !== kNoFilter[name]);
}

export function matches(row, filter) {
  const v = row.v;
  if (filter.site !== null && v.site !== filter.site) return false;
  if (filter.country !== null && v.country !== filter.country) return false;
  if (filter.kind === "people" && v.spider) return false;
  if (filter.kind === "spiders" && !v.spider) return false;
  if (filter.page !== null && v.page !== filter.page) return false;
  if (filter.referrer !== null && referrerSite(v.referrer) !== filter.referrer) return false;
  return filter.text === "" || filter.text.split(" ").every((word) => searchText(row).includes(word));
}

const collator = new Intl.Collator(undefined, { numeric: true, sensitivity: "base" });
const kValues = {
  visitor: (row) => visitorName(row.v),
  started: (row) => row.started,
  last_hit: (row) => row.lastHit,
  page: (row) => pageOf(row.v).slice(0, 300),
};

export function valueOf(row, column) {
  return Object.hasOwn(kValues, column) ? kValues[column](row) : row.v[column];
}

const isEmpty = (value) => value === null || value === undefined || value === "" || Number.isNaN(value);

// Empty values come last in both directions; equal ones are ordered by arrival.
export function comparer(column, descending) {
  const turn = descending ? -1 : 1;
  return ([a, rowA], [b, rowB]) => {
    if (isEmpty(a) !== isEmpty(b)) return isEmpty(a) ? 1 : -1;
    if (a !== b && !isEmpty(a)) {
      const order = typeof a === "string" ? collator.compare(a, String(b)) : a - b;
      if (order) return order * turn;
    }
    return turn * (rowA.started - rowB.started || rowA.v.visit - rowB.v.visit || (rowA.key < rowB.key ? -1 : 1));
  };
}
