// Requests to the program.
const root = new URL("../api/v1/", import.meta.url);

export class ApiError extends Error {
  constructor(status, message) {
    super(message);
    this.status = status;
  }
}

export async function get(path, query = {}) {
  const url = new URL(path, root);
  for (const [name, value] of Object.entries(query)) {
    if (value !== null && value !== undefined && value !== "") url.searchParams.set(name, value);
  }
  const response = await fetch(url, { cache: "no-store", credentials: "same-origin" });
  if (!response.ok) throw new ApiError(response.status, `${path}: ${response.status}`);
  return response.json();
}

// Reads all pieces of a list. `event` is that of the first piece.
export async function getList(path, query = {}) {
  const whole = await get(path, query);
  let next = whole.next;
  while (next) {
    const more = await get(path, { ...query, cursor: next });
    for (const item of more.items) whole.items.push(item);
    next = more.next;
  }
  return whole;
}
