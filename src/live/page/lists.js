// The lists beside the table: what is being read now, and what happened today. A list under the pointer isn't updated.
import { bdi, byId, children, el, setAttribute, setText } from "./dom.js";
import { bytes, count, counted, shown, timeOf } from "./format.js";

const kMostLines = 100;

// Worth mentioning: a site that isn't being scanned, or is far behind its log.
function stateOf(site) {
  if (["paused", "sleeping", "waiting"].includes(site.state)) return `${site.state} · `;
  return site.bytes_behind > 1e6 ? `${bytes(site.bytes_behind)} behind · ` : "";
}

class List {
  // fill(line, item): writes an item into a line.
  constructor(id, none, fill, choose) {
    this.panel = byId(`panel-${id}`);
    this.list = this.panel.querySelector("ol");
    this.none = this.panel.querySelector(".none");
    this.number = byId(`count-${id}`);
    this.noneText = none;
    this.fill = fill;
    this.items = [];
    this.list.addEventListener("click", (event) => {
      const line = event.target.closest("button");
      if (line) choose(line.item);
    });
  }

  get held() {
    return this.list.matches(":hover") || this.list.contains(document.activeElement);
  }

  set(items, total = items.length) {
    setText(this.number, count(total));
    if (this.panel.clientWidth === 0) return;  // Hidden; drawn when its tab is opened.
    if (this.held && items.length && this.items.length) return;
    this.items = items.slice(0, kMostLines);
    const lines = children(this.list, this.items.length, makeLine);
    this.items.forEach((item, at) => {
      const button = lines[at].firstElementChild;
      button.item = item;
      this.fill(button, item);
    });
    const more = total - this.items.length;
    setText(this.none, items.length === 0 ? this.noneText : more > 0 ? `and ${counted(more, "more", "more")}` : "");
    this.none.hidden = this.none.textContent === "";
    this.list.hidden = items.length === 0;
  }
}

function makeLine() {
  const line = el("li");
  const button = el("button", "line");
  button.type = "button";
  const top = el("span", "line-top");
  top.append(bdi("", "what"), el("span", "how-many"));
  button.append(top, bdi("", "detail"), el("span", "share"));
  line.append(button);
  return line;
}

// what: main text; detail: second line or ""; number: right-hand text; share: length of the bar, 0 to 1, or null.
function write(button, { what, detail = "", number, share = null, chosen = null, kind = "" }) {
  const [top, second, bar] = button.children;
  setText(top.firstElementChild, what);
  setText(top.lastElementChild, number);
  setText(second, detail);
  second.hidden = detail === "";
  bar.hidden = share === null;
  if (share !== null) bar.style.transform = `scaleX(${share.toFixed(3)})`;
  setAttribute(button, "aria-pressed", chosen);
  const name = `line ${kind}`.trim();
  if (button.className !== name) button.className = name;
}

// calls: filter(part) narrows the table; open(key, item) shows a visitor.
export class Lists {
  constructor(store, filter, calls) {
    Object.assign(this, { store, filter });
    this.mosts = {};
    const narrow = (name) => (item) => calls.filter({ [name]: filter()[name] === item.value ? null : item.value,
      ...(name === "page" ? { site: item.site } : {}) });
    this.sites = new List("sites", "No site is watched yet.", (b, i) => this.#site(b, i), narrow("site"));
    this.pages = new List("pages", "Nothing is being read.", (b, i) => this.#tally(b, i, "page"), narrow("page"));
    this.referrers = new List("referrers", "Nobody came from elsewhere.", (b, i) => this.#tally(b, i, "referrer"),
      narrow("referrer"));
    this.countries = new List("countries", "No country is known.", (b, i) => this.#tally(b, i, "country"),
      narrow("country"));
    const open = (item) => calls.open(item.key, item);
    this.alerts = new List("alerts", "No alerts today.", (b, i) => this.#alert(b, i), open);
    this.exceptions = new List("exceptions", "No exceptions today.", (b, i) => this.#exception(b, i), open);
    this.spiders = new List("spiders", "No spiders today.", (b, i) => this.#spider(b, i), open);
  }

  draw() {
    const { site } = this.filter();
    const ofSite = (item) => site === null || item.site === site;
    const sites = [...this.store.sites.values()].map((each) => ({ ...each, value: each.site }));
    sites.sort((a, b) => (b.visitors || 0) - (a.visitors || 0) || a.site - b.site);
    this.mosts.site = sites[0]?.visitors || 1;
    this.sites.set(sites);
    for (const [list, kind] of [[this.pages, "page"], [this.referrers, "referrer"], [this.countries, "country"]]) {
      const items = this.store.tally(kind, site);
      this.mosts[kind] = items[0]?.count || 1;
      list.set(items.slice(0, kMostLines).map((item) => ({ ...item, value: item.label })), items.length);
    }
    const later = (a, b) => Date.parse(b.time) - Date.parse(a.time) || b.id - a.id;
    const newest = (items) => items.filter(ofSite).sort(later);
    this.alerts.set(newest([...this.store.alerts.values()]));
    this.exceptions.set(newest([...this.store.exceptions.values()]));
    this.spiders.set(newest([...this.store.spiders]));
  }

  #severalSites(item) {
    return this.store.sites.size > 1 && this.filter().site === null ? shown(this.store.siteName(item.site), 60) : "";
  }

  #site(button, site) {
    const state = stateOf(site);
    write(button, {
      what: shown(this.store.siteName(site.site), 80),
      detail: `${state}${counted(site.visitors_today, "visitor", "visitors")} today`,
      number: count(site.visitors),
      share: (site.visitors || 0) / this.mosts.site,
      chosen: this.filter().site === site.site,
    });
  }

  #tally(button, item, kind) {
    const named = kind === "country" && item.name;
    write(button, {
      what: named ? `${shown(item.name, 60)} (${shown(item.label, 8)})` : shown(item.label, 200),
      detail: kind === "page" ? this.#severalSites(item) : "",
      number: count(item.count),
      share: item.count / this.mosts[kind],
      chosen: this.filter()[kind] === item.label,
    });
  }

  #alert(button, alert) {
    write(button, {
      what: shown(alert.name || `Alert ${alert.alert}`, 100),
      detail: [shown(alert.host || alert.address, 80), shown(alert.page, 120), this.#severalSites(alert)]
        .filter(Boolean).join(" · "),
      number: timeOf(alert.time),
      kind: "alert-line",
    });
  }

  #exception(button, exception) {
    write(button, {
      // The details are the name with its words filled in.
      what: shown(exception.details || exception.name || `Exception ${exception.number}`, 200),
      detail: this.#severalSites(exception),
      number: timeOf(exception.time),
    });
  }

  #spider(button, spider) {
    write(button, {
      what: shown(spider.spider, 100),
      detail: [shown(spider.page, 160), this.#severalSites(spider)].filter(Boolean).join(" · "),
      number: timeOf(spider.time),
    });
  }
}

// Tabs with the usual keys: arrows, Home and End.
export function makeTabs(list, chosen) {
  const tabs = [...list.querySelectorAll("[role=tab]")];
  const choose = (tab, focus) => {
    for (const each of tabs) {
      const on = each === tab;
      each.setAttribute("aria-selected", on);
      each.tabIndex = on ? 0 : -1;
      byId(each.getAttribute("aria-controls")).classList.toggle("off", !on);
    }
    if (focus) tab.focus();
    chosen?.(tab.id);
  };
  list.addEventListener("click", (event) => {
    const tab = event.target.closest("[role=tab]");
    if (tab) choose(tab, false);
  });
  list.addEventListener("keydown", (event) => {
    const at = tabs.indexOf(event.target);
    const to = { ArrowRight: at + 1, ArrowLeft: at - 1, Home: 0, End: tabs.length - 1 }[event.key];
    if (at < 0 || to === undefined) return;
    event.preventDefault();
    choose(tabs[(to + tabs.length) % tabs.length], true);
  });
  choose(tabs.find((tab) => tab.getAttribute("aria-selected") === "true") ?? tabs[0], false);
  return (id) => choose(byId(id), false);
}
