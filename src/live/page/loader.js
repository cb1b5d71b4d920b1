// Reads the lists, then applies events. Reads them again after missed events or a restart of the program.
import { get, getList } from "./api.js";
import { instantOf } from "./format.js";
import { openStream } from "./stream.js";

const kAgain = 2000;
const kMostWaiting = 2000;  // Batches while the lists are read.
const kSpiders = 10000;

export class Loader {
  // calls: changed(), connection(), reloaded(), alert(alert).
  constructor(store, calls) {
    Object.assign(this, { store, calls, run: null, ready: false, waiting: [], spidersAt: 0 });
    this.connection = { state: "connecting", since: Date.now(), retry: 0 };
  }

  open() {
    this.stream = openStream((message) => this.#hear(message));
  }

  #hear(message) {
    if (message.kind === "events") return this.#take(message);
    this.connection = message;
    this.calls.connection();
    // A tab that the hub had dropped has missed events too.
    const news = message.run !== this.run || (message.fresh && this.ready);
    if (message.state === "live" && news) this.reload(message.run);
  }

  #take({ run, items }) {
    if (run !== this.run || !this.ready) {
      this.waiting.push([run, items]);
      if (this.waiting.length > kMostWaiting) {
        this.waiting = [];
        this.again = this.reading;
      }
      return;
    }
    this.#apply(items);
    this.calls.changed();
  }

  #apply(items) {
    const now = Date.now();
    for (const [id, type, text] of items) {
      if (type === "missed") return this.reload(this.run);
      if (type === "slow") continue;
      try {
        const alert = this.store.apply(id, type, JSON.parse(text), now);
        if (alert) this.calls.alert(alert);
      } catch {
        return this.reload(this.run);  // A damaged event: the lists have the truth.
      }
    }
    if (this.store.spidersChanged && now - this.spidersAt > kSpiders) this.#spiders(now);
    return undefined;
  }

  async #spiders(now) {
    this.spidersAt = now;
    this.store.spidersChanged = false;
    try {
      this.store.setSpiders(await getList("spiders"));
      this.calls.changed();
    } catch {
      this.store.spidersChanged = true;
    }
  }

  // Polls what has no event: whether scanning is paused, and the change of day, which empties today's lists.
  async look() {
    const program = await get("program");
    const before = this.store.program;
    this.store.program = program;
    if (before && this.ready && before.now.slice(0, 10) !== program.now.slice(0, 10)) this.reload(this.run);
  }

  async reload(run) {
    this.run = run;
    this.ready = false;
    if (this.reading) {
      this.again = true;
      return;
    }
    this.reading = true;
    do {
      this.again = false;
      try {
        await this.#read();
      } catch {
        await new Promise((done) => setTimeout(done, kAgain));
        this.again = this.connection.state === "live";
        if (!this.again) this.run = null;  // The next connection reads them.
      }
    } while (this.again);
    this.reading = false;
  }

  async #read() {
    const { store, run } = this;
    const [program, sites, visitors, alerts, exceptions, spiders] = await Promise.all([
      get("program"), getList("sites"), getList("visitors", { limit: 100000 }), getList("alerts"),
      getList("exceptions"), getList("spiders"),
    ]);
    if (program.started !== run) this.run = program.started;
    store.program = program;
    this.clockAhead = instantOf(program.now) - Date.now();
    store.setSites(sites);
    store.setVisitors(visitors);
    store.setAlerts(alerts);
    store.setExceptions(exceptions);
    store.setSpiders(spiders);
    store.loaded = true;
    if (this.again) return;
    this.ready = true;
    const waiting = this.waiting;
    this.waiting = [];
    for (const [of, items] of waiting) if (of === this.run && this.ready) this.#apply(items);
    this.calls.reloaded();
  }
}
