// Everything known about one visitor, live. After the visitor has left: what the alert or list line still tells.
import { get } from "./api.js";
import { bdi, byId, children, el, link, setText } from "./dom.js";
import { count, duration, instantOf, momentOf, pageOf, shown, timeOf, visitorName, webAddress } from "./format.js";

const kAgain = 700;  // Milliseconds between two readings of the same visitor.
const kMostPages = 300;

// The name in an alert or exception is not the visitor's.
function fromLine(item) {
  const { name, number, alert, ...rest } = item;
  if (number !== undefined) return { ...rest, exception_name: name };
  return alert === undefined ? rest : { ...rest, alert, alert_name: name };
}

export class Drawer {
  // calls: serverNow(), onClose(opener).
  constructor(store, calls) {
    Object.assign(this, { store, calls, box: byId("drawer"), key: null, item: null, known: null, pages: [] });
    byId("drawer-close").addEventListener("click", () => this.close());
    this.box.addEventListener("keydown", (event) => {
      if (event.key !== "Escape") return;
      event.stopPropagation();
      this.close();
    });
  }

  get open() {
    return this.key !== null || this.item !== null;
  }

  // item: the list line that was clicked, for visitors who have left.
  show(key, item = null) {
    Object.assign(this, { key, item: item && fromLine(item), known: null, pages: [], row: null });
    if (this.box.hidden) this.opener = document.activeElement;
    this.box.hidden = false;
    // Where it covers the page, nothing behind it can be focused.
    document.querySelector("main").inert = this.box.offsetWidth >= innerWidth;
    this.draw();
    this.#read();
    byId("drawer-title").focus();
  }

  close() {
    if (!this.open) return;
    this.key = this.item = null;
    this.box.hidden = true;
    document.querySelector("main").inert = false;
    this.calls.onClose(this.opener);
  }

  // The store has changed.
  update() {
    if (!this.open) return;
    const row = this.key === null ? null : this.store.rows.get(this.key);
    if (row !== this.row && row) this.#readSoon();
    this.draw();
  }

  #readSoon() {
    if (this.timer) return;
    this.timer = setTimeout(() => {
      this.timer = 0;
      this.#read();
    }, kAgain);
  }

  async #read() {
    const { key } = this;
    if (!this.store.rows.has(key)) return;  // The program forgets visitors when they leave.
    try {
      const known = await get(`visitors/${encodeURIComponent(key)}`);
      if (this.key !== key) return;
      this.known = known;
      this.pages = known.pages_seen ?? [];
      this.draw();
    } catch {
      // The visitor or the connection is gone; what was known stays.
    }
  }

  draw() {
    const row = this.key === null ? null : this.store.rows.get(this.key);
    this.row = row ?? null;
    const v = row?.v ?? this.known ?? this.item ?? {};
    setText(byId("drawer-title").firstElementChild, shown(visitorName(v), 200));
    this.#tags(v, Boolean(row));
    this.#links(v);
    this.#facts(v, Boolean(row));
    this.#seen();
  }

  #tags(v, here) {
    const tags = [here ? (v.idle ? ["idle", "idle"] : ["here", "here now"]) : ["left", "has left"]];
    if (v.country) tags.push(["", shown(v.country, 8)]);
    if (v.spider) tags.push(["spider", `spider: ${shown(v.spider, 60)}`]);
    if (v.alert || this.item?.alert_name) {
      tags.push(["alert", this.item?.alert_name ? shown(this.item.alert_name, 60) : `alert ${shown(v.alert, 10)}`]);
    }
    const shownTags = children(byId("drawer-tags"), tags.length, () => el("li"));
    tags.forEach(([kind, text], at) => {
      shownTags[at].className = `tag ${kind}`;
      setText(shownTags[at], text);
    });
  }

  // The classic pages are on another port; a visit there is named by domain, address and number.
  #links(v) {
    const port = this.store.program?.classic_port;
    const domain = this.store.siteDomain(v.site);
    const box = byId("drawer-links");
    const name = port && domain && v.address ? `${port} ${domain} ${v.address} ${v.visit}` : "";
    if (this.linked === name) return;
    this.linked = name;
    box.replaceChildren();
    if (!name) return;
    const base = `${location.protocol}//${location.hostname}:${port}${this.store.program.classic_path ?? "/"}`;
    const of = encodeURI(`${domain}:${v.address}`);
    box.append(link("This visit in the classic pages", `${base}?VISITOR&domain=${of}!${v.visit}`),
      link("Earlier visits", `${base}?PREVIOUS&domain=${of}`));
  }

  #facts(v, here) {
    const known = this.known ?? {};
    const line = this.item ?? {};
    const lasted = here ? this.calls.serverNow() - instantOf(v.started) : instantOf(v.last_hit) - instantOf(v.started);
    const facts = [
      ["Site", shown(this.store.siteName(v.site), 100)],
      ["Page now", shown(pageOf(v), 2000)],
      ["Host", shown(v.host, 300)],
      ["Address", shown(v.address, 100)],
      ["Name", shown(v.name, 200)],
      ["Country", shown(v.country_name || v.country, 100)],
      ["User", shown(v.user, 200)],
      ["Started", momentOf(v.started)],
      ["Last hit", timeOf(v.last_hit)],
      [here ? "Here for" : "Stayed", Number.isNaN(lasted) ? "" : duration(lasted)],
      [line.alert_name ? "Alert at" : "Seen at", momentOf(line.time)],
      ["Exception", shown(line.details || line.exception_name, 2000)],
      ["Pages", v.pages === undefined ? "" : count(v.pages)],
      ["Visits", v.visits === undefined ? "" : count(v.visits)],
      ["First visited", momentOf(known.first_visited)],
      ["Came from", v.referrer === "-" ? "" : shown(v.referrer, 2000)],
      ["Browser", shown(v.browser, 200)],
      ["User agent", shown(v.agent, 2000)],
      ["Last answer", v.status ? `${shown(v.method ?? "", 20)} ${shown(v.status, 10)}`.trim() : ""],
      ["Not found", v.not_found ? count(v.not_found) : ""],
      ["Hack score", v.hack_score ? count(v.hack_score) : ""],
    ].filter(([, value]) => value !== "");
    const box = byId("drawer-facts");
    const pairs = children(box, facts.length, () => {
      const pair = el("div");
      const value = el("dd");
      value.append(bdi(""));
      pair.append(el("dt"), value);
      return pair;
    });
    facts.forEach(([name, value], at) => this.#fact(pairs[at], name, value, v));
  }

  #fact(pair, name, value, v) {
    setText(pair.firstElementChild, name);
    const cell = pair.lastElementChild;
    const address = name === "Came from" ? webAddress(v.referrer) : null;
    const text = cell.querySelector("bdi");
    setText(text, value);
    const anchor = cell.querySelector("a");
    if (!address) {
      if (anchor) cell.replaceChildren(text);
    } else if (anchor?.href !== address) {
      const made = link("", address);
      made.append(text);
      cell.replaceChildren(made);
    }
  }

  #seen() {
    const pages = this.pages.slice(-kMostPages);
    const lines = children(byId("drawer-pages"), pages.length, () => {
      const line = el("li");
      line.append(el("time"), bdi("", "what"), el("span", "status"));
      return line;
    });
    for (let at = 0; at < pages.length; at += 1) {
      const page = pages[pages.length - 1 - at];
      const [time, what, status] = lines[at].children;
      setText(time, timeOf(page.time));
      setText(what, shown(pageOf(page), 500));
      setText(status, page.status && page.status !== 200 ? String(page.status) : "");
      status.classList.toggle("bad", page.status >= 400);
    }
    byId("drawer-none").hidden = pages.length > 0;
  }
}
