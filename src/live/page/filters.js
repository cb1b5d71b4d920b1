// Search, filters, columns and sorting. The page's address keeps search and filters.
import { byId, children, el, setText } from "./dom.js";
import { chooseColumn, kColumns, presentIn, wantedColumns } from "./columns.js";
import { shown } from "./format.js";
import { isFiltered, kNoFilter } from "./store.js";

const kInAddress = { text: "q", site: "site", country: "country", kind: "kind", page: "page", referrer: "from" };

function fromAddress() {
  const query = new URLSearchParams(location.search);
  const filter = { ...kNoFilter };
  for (const [name, word] of Object.entries(kInAddress)) if (query.has(word)) filter[name] = query.get(word);
  filter.site = /^\d{1,9}$/.test(filter.site ?? "") ? Number(filter.site) : null;
  if (!["people", "spiders"].includes(filter.kind)) filter.kind = "all";
  filter.text = filter.text.toLowerCase();
  return filter;
}

function toAddress(filter) {
  const query = new URLSearchParams();
  if (new URLSearchParams(location.search).has("wall")) query.set("wall", "");
  for (const [name, word] of Object.entries(kInAddress)) {
    if (filter[name] !== kNoFilter[name]) query.set(word, filter[name]);
  }
  const text = query.toString().replace("wall=", "wall");
  byId("wall-link").href = `?wall&${text}`;
  history.replaceState(null, "", text ? `?${text}` : location.pathname);
}

export class Filters {
  // calls: changed(), columns(), sort(column).
  constructor(store, calls) {
    Object.assign(this, { store, calls, filter: fromAddress() });
    this.search = byId("search");
    this.selects = { site: byId("filter-site"), country: byId("filter-country"), kind: byId("filter-kind") };
    this.search.value = this.filter.text;
    this.selects.kind.value = this.filter.kind;
    this.search.addEventListener("input", () => this.set({ text: this.search.value.trim().toLowerCase() }));
    this.selects.site.addEventListener("change", (e) => this.set({ site: Number(e.target.value) || null }));
    this.selects.country.addEventListener("change", (e) => this.set({ country: e.target.value || null }));
    this.selects.kind.addEventListener("change", (e) => this.set({ kind: e.target.value }));
    for (const id of ["clear", "clear-empty"]) byId(id).addEventListener("click", () => this.clear());
    byId("chips").addEventListener("click", (event) => {
      const name = event.target.closest("button")?.dataset.name;
      if (name) this.set({ [name]: null });
    });
    this.#menu();
    this.draw();
  }

  set(part) {
    this.filter = { ...this.filter, ...part };
    toAddress(this.filter);
    this.draw();
    this.calls.changed();
  }

  clear() {
    this.search.value = "";
    this.set(kNoFilter);
    this.search.focus();
  }

  // The choices follow the visitors present; the current choice stays in any case.
  draw() {
    const sites = [...this.store.sites.values()].map((site) => [site.site, this.store.siteName(site.site)]);
    fill(this.selects.site, "All sites", sites, this.filter.site, (id) => this.store.siteName(id));
    fill(this.selects.country, "Any country", this.store.countries(), this.filter.country, (id) => id);
    this.selects.site.hidden = sites.length < 2 && this.filter.site === null;
    this.selects.kind.value = this.filter.kind;
    const chips = ["page", "referrer"].filter((name) => this.filter[name] !== null);
    const buttons = children(byId("chips"), chips.length, makeChip);
    chips.forEach((name, at) => {
      buttons[at].dataset.name = name;
      setText(buttons[at].firstElementChild, name === "page" ? "Page " : "From ");
      setText(buttons[at].children[1], shown(this.filter[name], 60));
    });
    byId("clear").hidden = !isFiltered(this.filter);
  }

  #menu() {
    const menu = byId("menu");
    const button = byId("menu-button");
    const show = (on) => {
      menu.hidden = !on;
      button.setAttribute("aria-expanded", on);
      if (on) menu.querySelector("select, input").focus();
    };
    button.addEventListener("click", () => show(menu.hidden));
    menu.parentElement.addEventListener("keydown", (event) => {
      if (event.key !== "Escape" || menu.hidden) return;
      event.stopPropagation();
      show(false);
      button.focus();
    });
    document.addEventListener("pointerdown", (event) => {
      if (!menu.hidden && !menu.parentElement.contains(event.target)) show(false);
    });
    const box = byId("menu-columns");
    const sort = byId("sort");
    for (const column of kColumns) {
      sort.append(new Option(column.caption, column.id));
      if (column.id !== "visitor") box.append(this.#choice(column));
    }
    sort.addEventListener("change", () => this.calls.sort(sort.value, byId("sort-down").checked));
    byId("sort-down").addEventListener("change", () => this.calls.sort(sort.value, byId("sort-down").checked));
  }

  #choice(column) {
    const label = el("label", "choice");
    const tick = el("input");
    tick.type = "checkbox";
    tick.dataset.column = column.id;
    tick.addEventListener("change", () => {
      chooseColumn(column.id, tick.checked);
      this.calls.columns();
    });
    label.append(tick, el("span", "", column.caption));
    return label;
  }

  drawMenu(order) {
    byId("sort").value = order.column;
    byId("sort-down").checked = order.descending;
    const wanted = new Set(wantedColumns(presentIn(this.store)).map((column) => column.id));
    for (const tick of byId("menu-columns").querySelectorAll("input")) tick.checked = wanted.has(tick.dataset.column);
  }
}

function makeChip() {
  const chip = el("button", "chip");
  chip.type = "button";
  const cross = el("span", "chip-x", "×");
  cross.setAttribute("aria-label", "remove this filter");
  cross.setAttribute("role", "img");
  chip.append(el("span"), el("bdi"), cross);
  return chip;
}

function fill(select, all, choices, chosen, nameOf) {
  const wanted = [["", all], ...choices];
  if (chosen !== null && !choices.some(([value]) => value === chosen)) wanted.push([chosen, nameOf(chosen)]);
  const same = select.options.length === wanted.length &&
    wanted.every(([value], at) => select.options[at].value === String(value));
  if (!same && document.activeElement !== select) {
    select.replaceChildren(...wanted.map(([value, name]) => new Option(shown(name, 60), value)));
  }
  select.value = chosen === null ? "" : String(chosen);
}
