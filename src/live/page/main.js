// The page itself: feeds events to the store and redraws what changed, a few times a second at most.
import { get } from "./api.js";
import { Chart, writeRatesTable } from "./chart.js";
import { columnOf, presentIn, wantedColumns } from "./columns.js";
import { byId, setAttribute, setText } from "./dom.js";
import { Drawer } from "./drawer.js";
import { showEmpty } from "./empty.js";
import { Filters } from "./filters.js";
import { count, counted, offsetOf } from "./format.js";
import { Lists, makeTabs } from "./lists.js";
import { Loader } from "./loader.js";
import { Notifier } from "./notify.js";
import { Order } from "./order.js";
import { recall, remember } from "./prefs.js";
import { StateLine } from "./stateline.js";
import { Store, isFiltered } from "./store.js";
import { Table } from "./table.js";

const kRebuild = 600;  // Least milliseconds between two sorts of the table, and between two updates of the lists.
const kSlowRate = 15000;

const wall = new URLSearchParams(location.search).has("wall");

class Page {
  constructor() {
    this.store = new Store();
    this.order = new Order(this.store);
    this.stateLine = new StateLine();
    this.paused = false;
    this.pausedAt = 0;
    this.rebuiltAt = 0;
    this.listsAt = 0;
    this.rebuildCost = 0;
    this.sums = {};
    this.drawnVersion = -1;
    const sort = recall("sort", null);
    if (wall) this.order.column = "last_hit";
    else if (sort && columnOf(sort.column)) Object.assign(this.order, sort);
    this.#parts();
    this.loader = new Loader(this.store, {
      changed: () => this.soon(),
      connection: () => this.#drawState(),
      reloaded: () => this.#reloaded(),
      alert: (alert) => this.#alert(alert),
    });
    this.loader.open();
    setInterval(() => this.#slowly(), 1000);
    setInterval(() => document.hidden || this.#rates(), kSlowRate);
    document.addEventListener("visibilitychange", () => document.hidden || this.#rates());
    document.addEventListener("keydown", (event) => this.#key(event));
  }

  #parts() {
    this.table = new Table(byId("grid"), this.order, wall, {
      onSort: (column) => this.sort(column, this.order.column === column ? !this.order.descending : undefined),
      onChoose: () => this.#drawHold(),
      onOpen: (key) => this.drawer.show(key),
      onHold: () => this.soon(),
    });
    this.filters = new Filters(this.store, {
      changed: () => this.#filtered(),
      columns: () => this.#columns(),
      sort: (column, descending) => this.sort(column, descending),
    });
    this.order.filter = this.filters.filter;
    this.lists = new Lists(this.store, () => this.filters.filter, {
      filter: (part) => this.filters.set(part),
      open: (key, item) => this.#openLine(key, item),
    });
    this.drawer = new Drawer(this.store, {
      serverNow: () => Date.now() + (this.loader.clockAhead ?? 0),
      onClose: (opener) => {
        this.table.choose(null);
        const back = opener?.isConnected && opener.offsetWidth && opener !== document.body ? opener : byId("grid");
        back.focus({ preventScroll: true });
        this.soon();
      },
    });
    this.notifier = new Notifier(byId("notify"), (text) => this.stateLine.say(text));
    this.charts = [
      new Chart(byId("chart-views"), "bars", "Page views a minute", (minute) => minute.page_views || 0),
      new Chart(byId("chart-visitors"), "line", "Visitors on site", (minute) => minute.visitors || 0),
    ];
    for (const list of document.querySelectorAll("[role=tablist]")) makeTabs(list, () => this.#sides());
    for (const button of document.querySelectorAll(".views button")) {
      button.addEventListener("click", () => this.#view(button.dataset.view));
    }
    byId("pause").addEventListener("click", () => this.pause(!this.paused));
    this.#columns();
  }

  // --- What the user asks for.

  sort(column, descending = columnOf(column)?.number ?? false) {
    Object.assign(this.order, { column, descending });
    if (!wall) remember("sort", { column, descending });
    this.filters.drawMenu(this.order);
    this.#rebuild();
    this.table.sorted();
  }

  pause(on) {
    this.paused = on;
    this.pausedAt = this.store.version;
    setAttribute(byId("pause"), "aria-pressed", on);
    setText(byId("pause-label"), on ? "Resume" : "Pause");
    document.body.classList.toggle("paused", on);
    this.#drawState();
    if (!on) this.soon();
  }

  #filtered() {
    this.order.filter = this.filters.filter;
    byId("grid").scrollTop = 0;
    this.#rebuild();
    this.#sides();
    this.#rates();
    clearTimeout(this.telling);
    this.telling = setTimeout(() => this.stateLine.say(this.#shownWords()), 1000);
  }

  #columns() {
    const present = presentIn(this.store);
    this.present = JSON.stringify(present);
    this.table.setColumns(wantedColumns(present));
    this.filters.drawMenu(this.order);
  }

  #view(name) {
    document.body.dataset.view = name;
    for (const button of document.querySelectorAll(".views button")) {
      setAttribute(button, "aria-pressed", button.dataset.view === name);
    }
    this.table.layOut();
    this.#sides();
  }

  #openLine(key, item) {
    const place = key ? this.order.placeOf(key) : -1;
    if (place >= 0) {
      this.table.choose(key);
      this.table.reveal(place);
    }
    this.drawer.show(key ?? null, item);
  }

  #key(event) {
    const typing = event.target.closest?.("input, select, textarea");
    if (event.key === "/" && !typing && !event.ctrlKey && !event.metaKey && !event.altKey && !wall) {
      event.preventDefault();
      this.#view("visitors");
      this.filters.search.focus();
    } else if (event.key === "Escape" && event.target === this.filters.search) {
      if (this.filters.search.value === "") byId("grid").focus();
      else this.filters.clear();
    } else if (event.key === "Escape") {
      if (wall) location.search = location.search.replace("wall", "");
      this.drawer.close();
    }
  }

  // --- What the program reports.

  #reloaded() {
    if (this.present !== JSON.stringify(presentIn(this.store))) this.#columns();
    this.filters.draw();
    if (!this.paused) {
      this.#rebuild();
      this.#sides();
    }
    this.#rates();
    this.#links();
    this.#drawState();
    this.soon();
  }

  #links() {
    const { program } = this.store;
    const port = program?.classic_port;
    byId("classic-link").hidden = !port;
    if (port) {
      byId("classic-link").href = `${location.protocol}//${location.hostname}:${port}${program.classic_path ?? "/"}`;
    }
    byId("logout-link").hidden = !program?.user;
  }

  #alert(alert) {
    this.notifier.alert(alert, this.store.siteName(alert.site), () => this.#openLine(alert.key, alert));
    this.stateLine.say(`Alert: ${String(alert.name).slice(0, 100)}`);
  }

  async #rates() {
    try {
      const { site } = this.filters.filter;
      const [rates] = await Promise.all([get("rates", { site }), this.loader.look()]);
      if (site !== this.filters.filter.site || this.paused) return;
      for (const chart of this.charts) chart.set(rates.minutes);
      writeRatesTable(rates.minutes);
    } catch {
      // The state line reports a lost connection.
    }
  }

  // --- Drawing.

  soon() {
    if (!this.frame) this.frame = requestAnimationFrame(() => this.#draw());
  }

  #draw() {
    this.frame = 0;
    if (this.paused) return;
    const now = performance.now();
    const wait = Math.max(this.rebuiltAt + Math.max(kRebuild, 40 * this.rebuildCost), this.listsAt + kRebuild) - now;
    const due = wait <= 0;
    if (this.table.held) {
      this.order.patch(true);
      this.table.draw();
    } else if (due) {
      this.#rebuild();
    } else {
      this.order.patch(false);
      this.table.draw();
    }
    if (due) this.#sides();
    else this.#later(wait);
    this.#drawHold();
    this.drawer.update();
  }

  // Schedules the next sort for whatever arrived since the last one.
  #later(wait) {
    if (this.timer || this.drawnVersion === this.store.version) return;
    this.timer = setTimeout(() => {
      this.timer = 0;
      this.soon();
    }, wait);
  }

  #rebuild() {
    const started = performance.now();
    this.table.rebuilt(() => this.order.rebuild());
    this.rebuiltAt = performance.now();
    this.rebuildCost = this.rebuiltAt - started;
    this.#drawHold();
  }

  // Updates everything around the table: numbers, lists, filter choices.
  #sides() {
    this.listsAt = performance.now();
    this.drawnVersion = this.store.version;
    const sums = this.store.totals(this.filters.filter.site);
    this.sums = sums;
    setText(byId("n-now"), count(sums.visitors));
    setText(byId("n-now-split"), sums.spiders ? `with ${counted(sums.spiders, "spider", "spiders")}` : "");
    setText(byId("n-today"), count(sums.today));
    setText(byId("n-spiders"), count(sums.spidersToday));
    setText(byId("n-alerts"), count(sums.alerts));
    setText(byId("n-exceptions"), count(sums.exceptions));
    document.title = `${count(this.store.rows.size)} ${this.store.rows.size === 1 ? "visitor" : "visitors"} – Vantry`;
    this.lists.draw();
    // Columns don't go by themselves while somebody reads.
    const present = JSON.stringify(presentIn(this.store));
    if (present !== this.present && !this.table.held) this.#columns();
    this.filters.draw();
    showEmpty(this.store, this.order.rows.length, isFiltered(this.filters.filter));
  }

  #shownWords() {
    const all = this.store.rows.size;
    const few = this.order.rows.length - this.order.gone;
    return isFiltered(this.filters.filter) ? `${count(few)} of ${counted(all, "visitor", "visitors")}`
      : counted(all, "visitor", "visitors");
  }

  #drawHold() {
    setText(byId("shown-count"), this.store.loaded ? this.#shownWords() : "");
    const { added, gone } = this.order;
    const held = this.table.held && added + gone > 0;
    byId("hold").hidden = !held;
    if (held) {
      const parts = [added ? `${count(added)} new at the end` : "", gone ? `${count(gone)} left` : ""];
      setText(byId("hold"), `Rows are held in place: ${parts.filter(Boolean).join(", ")}`);
    }
  }

  #drawState() {
    const { program } = this.store;
    const paused = this.paused ? this.store.version - this.pausedAt : -1;
    this.stateLine.draw(this.loader.connection, paused, program, offsetOf(program?.now));
    document.body.classList.toggle("stale", ["lost", "login"].includes(this.loader.connection.state));
    byId("login-link").hidden = this.loader.connection.state !== "login";
  }

  // Runs once a second: fades marks, releases held rows, advances durations.
  #slowly() {
    this.#drawState();
    if (document.hidden || this.paused) return;
    if (this.table.marked || this.store.dirty.size || this.drawnVersion !== this.store.version || this.drawer.open ||
        (!this.table.held && this.order.added + this.order.gone > 0)) {
      this.soon();
    }
  }
}

if (wall) document.documentElement.classList.add("wall");
new Page();
