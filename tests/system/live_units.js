// Unit tests of the live page's modules without DOM. A browser imports this and calls run().
import { fittingColumns, gridTemplate, kColumns } from "../assets/columns.js";
import { ceilingOf } from "../assets/chart.js";
import * as f from "../assets/format.js";
import { Order } from "../assets/order.js";
import { SseParser } from "../assets/sse.js";
import { Store, kNoFilter, matches } from "../assets/store.js";

const failures = [];
let checks = 0;
function is(name, got, wanted) {
  checks += 1;
  const [a, b] = [JSON.stringify(got), JSON.stringify(wanted)];
  if (a !== b) failures.push(`${name}: ${a} instead of ${b}`);
}

function visitor(number, more = {}) {
  const at = new Date(Date.UTC(2026, 10, 22, 10, 0, number)).toISOString().replace(".000Z", "+00:00");
  return { key: `1:192.0.2.${number}`, site: 1, visit: number, address: `192.0.2.${number}`, host: null, name: null,
    page: "/", query: "", pages: 1, started: at, last_hit: at, referrer: "", browser: "B", agent: "", user: null,
    country: "DE", country_name: "Germany", spider: null, ...more };
}

function filled(...visitors) {
  const store = new Store();
  store.setSites({ items: [{ site: 1, name: "One", domain: "one.example", visitors_today: 4, alerts_today: 1 },
    { site: 2, name: "", domain: "two.example", visitors_today: 5, alerts_today: 2 }], event: 10 });
  store.setVisitors({ items: visitors, event: 10 });
  return store;
}

const numbers = (order) => order.rows.map((row) => row.v.visit);

function texts() {
  is("cut", f.shown("x".repeat(400)).length, 301);
  is("cut of a pair", f.shown("\ud83d\ude00\ud83d\ude00", 3), "\ud83d\ude00…");
  is("direction", f.shown("a\u202eb\u2067c\u0000\n"), "a\ufffdb\ufffdc\ufffd\ufffd");
  is("nothing", [f.shown(null), f.shown(undefined), f.shown(0)], ["", "", "0"]);
  is("script", f.webAddress("javascript:alert(1)"), null);
  is("script in blanks", f.webAddress(" \tjavascript:alert(1)"), null);
  is("data", f.webAddress("data:text/html,x"), null);
  is("web", f.webAddress("HTTP://Host.example/a b"), "http://host.example/a%20b");
  is("broken", f.webAddress("http://[::"), null);
  is("referrer", f.referrerSite("https://News.Example/item?id=4"), "news.example");
  is("no referrer", [f.referrerSite("-"), f.referrerSite(""), f.referrerSite(null)], ["", "", ""]);
  is("odd referrer", f.referrerSite("<b>"), "<b>");
  is("page", f.pageOf({ page: "/a", query: "b=1" }), "/a?b=1");
  is("name", f.visitorName({ name: "", host: null, address: "::1" }), "::1");
}

function times() {
  is("offset", [f.offsetOf("2026-11-22T19:05:07+02:00"), f.offsetOf("2026-11-22T19:05:07-03:30"),
    f.offsetOf("2026-11-22T19:05:07Z"), f.offsetOf(null)], [7200000, -12600000, 0, 0]);
  is("server's clock", f.timeOf("2026-11-22T19:05:07+09:00", "en-GB"), "19:05:07");
  is("over midnight", f.momentOf("2026-11-22T00:05:07+09:00", "en-GB"), "22 Nov 2026, 00:05:07");
  is("never", [f.timeOf(null), f.timeOf("nonsense")], ["", ""]);
  is("durations", [59999, 60000, 3600000, 172800000, -5].map(f.duration),
    ["59 s", "1 min 0 s", "1 h 0 min", "2 days", "0 s"]);
  is("counted", [f.counted(1, "page", "pages"), f.counted(0, "page", "pages")], ["1 page", "0 pages"]);
  is("no number", [f.count(NaN), f.count(null)], ["–", "–"]);
  is("ceilings", [0, 4, 5, 7, 10, 11, 59, 99, 101].map(ceilingOf), [4, 4, 6, 8, 10, 20, 60, 100, 200]);
}

function streams() {
  const parser = new SseParser();
  is("half", parser.feed("id: 7\nevent: come\nda"), []);
  is("rest", parser.feed("ta: {}\n\n: here\n\n"), [[7, "come", "{}"]]);
  is("ends", parser.feed("data: a\r\ndata: b\r\n\r\n"), [[7, "message", "a\nb"]]);
  is("no data", parser.feed("event: come\n\n"), []);
  is("long id", parser.feed("id: 1795376884105000\ndata:y\n\n"), [[1795376884105000, "message", "y"]]);
  is("odd id", parser.feed("id: x\ndata:y\n\n"), [[1795376884105000, "message", "y"]]);
}

function stores() {
  const store = filled(visitor(1), visitor(2, { spider: "Bot", site: 2 }));
  is("old event", [store.apply(10, "leave", { key: "1:192.0.2.1", visit: 1 }, 5), store.rows.size], [null, 2]);
  store.apply(11, "leave", { key: "1:192.0.2.1", visit: 99 }, 5);
  is("an earlier visit leaves", store.rows.size, 2);
  store.apply(12, "leave", { key: "1:192.0.2.1", visit: 1 }, 5);
  is("leave", store.rows.size, 1);
  store.apply(13, "come", visitor(3), 77);
  is("come", [store.rows.get("1:192.0.2.3").came, [...store.dirty].includes("1:192.0.2.3")], [77, true]);
  const before = store.rows.get("1:192.0.2.3");
  store.apply(14, "move", visitor(3, { page: "/x" }), 99);
  is("who holds a row holds a moment", [before.v.page, store.rows.get("1:192.0.2.3").came], ["/", 77]);
  is("an unknown event", store.apply(15, "__proto__", {}, 5), null);
  const alert = { id: 4, name: "A", time: "2026-11-22T10:00:00+00:00" };
  is("alert", [store.apply(16, "alert", alert, 5)?.id, store.apply(17, "alert", alert, 5)], [4, null]);
  is("sums", store.totals(), { visitors: 2, spiders: 1, today: 9, spidersToday: 0, alerts: 3, exceptions: 0 });
  is("sums of a site", store.totals(2).today, 5);
  is("site without a name", store.siteName(2), "two.example");
  is("unknown site", store.siteName(7), "Site 7");
  store.apply(18, "come", visitor(5, { spider: "Bot" }), 5);
  is("a spider came", store.spidersChanged, true);
}

function tallies() {
  const store = filled(visitor(1), visitor(2, { page: "/b" }), visitor(3, { page: "/b", country: null }),
    visitor(4, { page: "/b", site: 2, referrer: "http://r.example/1" }));
  is("pages", store.tally("page").map((t) => [t.label, t.count, t.site]), [["/b", 2, 1], ["/", 1, 1], ["/b", 1, 2]]);
  is("of a site", store.tally("page", 2).length, 1);
  is("countries", store.tally("country").map((t) => [t.label, t.count]), [["DE", 3]]);
  is("referrers", store.tally("referrer").map((t) => t.label), ["r.example"]);
}

function filters() {
  const store = filled(visitor(1, { host: "Gate.Example", page: "/Shop" }), visitor(2, { spider: "Bot" }));
  const row = store.rows.get("1:192.0.2.1");
  const fits = (part) => matches(row, { ...kNoFilter, ...part });
  is("words", [fits({ text: "gate shop" }), fits({ text: "gate none" })], [true, false]);
  is("kind", [fits({ kind: "people" }), fits({ kind: "spiders" })], [true, false]);
  is("site and country", [fits({ site: 2 }), fits({ country: "DE" }), fits({ country: "FR" })], [false, true, false]);
  is("page", [fits({ page: "/Shop" }), fits({ page: "/" })], [true, false]);
}

function orders() {
  const store = filled(visitor(1, { pages: 5 }), visitor(2, { pages: 7 }), visitor(3, { pages: 5 }));
  const order = new Order(store);
  order.rebuild();
  is("newest first", numbers(order), [3, 2, 1]);
  Object.assign(order, { column: "pages", descending: false });
  order.rebuild();
  is("equal ones by coming", numbers(order), [1, 3, 2]);
  store.apply(11, "move", visitor(1, { pages: 90 }), 5);
  store.apply(12, "leave", { key: "1:192.0.2.3", visit: 3 }, 5);
  store.apply(13, "come", visitor(4, { pages: 1 }), 5);
  order.patch(true);
  is("places are kept", numbers(order), [1, 3, 2, 4]);
  is("what happened is told", [order.rows[0].v.pages, order.rows[1].left, order.added, order.gone], [90, true, 1, 1]);
  store.apply(14, "come", visitor(3), 5);
  order.patch(true);
  is("who comes back", [order.rows[1].left, order.gone], [false, 0]);
  order.rebuild();
  is("anew", [numbers(order), order.added], [[3, 4, 2, 1], 0]);
  store.apply(15, "come", visitor(6, { pages: 1 }), 5);
  order.patch(false);
  is("not yet", numbers(order), [3, 4, 2, 1]);
  order.rebuild();
  is("now", numbers(order), [3, 4, 6, 2, 1]);
  const user = filled(visitor(1, { user: null }), visitor(2, { user: "b" }), visitor(3, { user: "A" }));
  const byUser = new Order(user);
  for (const [descending, wanted] of [[false, [3, 2, 1]], [true, [2, 3, 1]]]) {
    Object.assign(byUser, { column: "user", descending });
    byUser.rebuild();
    is(`empty last, ${descending}`, numbers(byUser), wanted);
  }
}

function columns() {
  const ids = (room) => fittingColumns(kColumns, room).map((column) => column.id);
  is("hardly any room", ids(50), ["visitor", "page"]);
  is("in their order", ids(430), ["visitor", "page", "last_hit"]);
  is("all", ids(9999).length, kColumns.length);
  is("widths", gridTemplate([kColumns[0]]), "minmax(6.86em, 1fr)");
}

export function run() {
  for (const part of [texts, times, streams, stores, tallies, filters, orders, columns]) part();
  return { checks, failures };
}
