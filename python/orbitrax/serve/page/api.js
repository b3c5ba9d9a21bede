// Requests to the server of this page.

export class Refused extends Error {
  constructor(error) {
    super(error.text || "the server gave no reason");
    this.field = error.field || null;
  }
}

export async function ask(method, path, body) {
  const about = { method, headers: {} };
  if (method !== "GET") {
    about.headers["Content-Type"] = "application/json";
    about.body = JSON.stringify(body || {});
  }
  let answer;
  try {
    answer = await fetch(path, about);
  } catch {
    throw new Refused({ text: "the server of this page does not answer; was 'orbitrax serve' ended?" });
  }
  const found = await answer.json().catch(() => ({ error: { text: `status ${answer.status}` } }));
  if (!answer.ok) throw new Refused(found.error || {});
  return found;
}

// Follows a run. Calls listen with each message; the browser connects again by itself.
export function follow(id, listen) {
  const stream = new EventSource(`/api/runs/${id}/events`);
  stream.onmessage = (event) => {
    const message = JSON.parse(event.data);
    if (message.type === "ended") stream.close();
    listen(message);
  };
  return () => stream.close();
}
