// How a tab receives events: from a worker shared by all tabs, else from the tab that holds a lock, else on its own.
import { Hub } from "./hub.js";

const root = new URL("../", import.meta.url);
const kName = `vantry-live ${root.pathname}`;

function throughWorker(hear, failed) {
  const worker = new SharedWorker(new URL("./worker.js", import.meta.url), { type: "module", name: kName });
  let heard = false;
  worker.onerror = () => {
    if (!heard) failed();
  };
  worker.port.onmessage = ({ data }) => {
    heard = true;
    hear(data);
  };
  const say = (word) => worker.port.postMessage(word);
  setInterval(() => say("here"), 60000);
  addEventListener("pagehide", () => say("bye"));
  addEventListener("pageshow", () => say("here"));
  document.addEventListener("visibilitychange", () => document.hidden || say("here"));
  return { kind: "worker", poke: () => say("poke") };
}

function throughLock(hear) {
  const channel = new BroadcastChannel(kName);
  const own = { hub: null, run: null, last: -1 };
  const listen = (message) => {
    if (message.run) own.run = message.run;
    if (message.kind === "events") own.last = message.items.at(-1)[0] ?? own.last;
    hear(message);
  };
  channel.onmessage = ({ data }) => {
    if (data === "hello") {
      if (own.hub) channel.postMessage(own.hub.message);
    } else if (data === "poke") {
      own.hub?.poke();
    } else if (!own.hub) {
      listen(data);
    }
  };
  channel.postMessage("hello");
  navigator.locks.request(kName, () => {
    own.hub = new Hub(root, (message) => {
      channel.postMessage(message);
      listen(message);
    });
    own.hub.start(own.run, own.last);
    return new Promise(() => {});  // Until this tab is closed.
  });
  return { kind: "lock", poke: () => (own.hub ? own.hub.poke() : channel.postMessage("poke")) };
}

function alone(hear) {
  const hub = new Hub(root, hear);
  hub.start();
  return { kind: "own", poke: () => hub.poke() };
}

function withoutWorker(hear) {
  return globalThis.BroadcastChannel && navigator.locks ? throughLock(hear) : alone(hear);
}

// hear(message): {kind: "state", state, since, run, retry} or {kind: "events", run, items: [[id, type, data], ...]}.
// `state` is connecting, live, lost or login.
export function openStream(hear) {
  const stream = { kind: "none", poke: () => stream.at?.poke() };
  const take = (at) => {
    stream.at = at;
    stream.kind = at.kind;
  };
  const fallBack = () => take(withoutWorker(hear));
  try {
    if (globalThis.SharedWorker) take(throughWorker(hear, fallBack));
    else fallBack();
  } catch {
    fallBack();
  }
  for (const name of ["online", "offline"]) addEventListener(name, () => stream.poke());
  return stream;
}
