// The shared worker: one hub for all tabs of a browser.
import { Hub } from "./hub.js";

const kForgotten = 200000;  // Tabs report every minute; hidden ones may be late.
const ports = new Map();

const hub = new Hub(new URL("../", import.meta.url), (message) => {
  for (const port of ports.keys()) port.postMessage(message);
});
hub.start();

let looked = Date.now();
setInterval(() => {
  const now = Date.now();
  // After the machine has slept, silence means nothing.
  for (const [port, seen] of ports) if (now - seen > kForgotten && now - looked < 90000) ports.delete(port);
  looked = now;
}, 60000);

self.onconnect = (event) => {
  const port = event.ports[0];
  const greet = () => {
    if (!ports.has(port)) port.postMessage({ ...hub.message, fresh: true });
    ports.set(port, Date.now());
  };
  port.onmessage = ({ data }) => {
    if (data === "bye") ports.delete(port);
    else greet();
    if (data === "poke") hub.poke();
  };
  greet();
};
