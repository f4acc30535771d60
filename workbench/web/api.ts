// Requests to the server. A failure becomes an Error with the server's sentence.

export const windowName = Math.random().toString(36).slice(2);

async function request(method: string, path: string, body?: unknown): Promise<Response> {
  const headers: Record<string, string> = { "X-Velmora": "1", "X-Velmora-Window": windowName };
  const init: RequestInit = { method, headers };
  if (body !== undefined) init.body = JSON.stringify(body);
  let response: Response;
  try {
    response = await fetch(path, init);
  } catch {
    throw new Error("The workbench does not answer. It has been closed, or it is being restarted.");
  }
  if (!response.ok) {
    const text = await response.text();
    let sentence = text;
    try {
      sentence = (JSON.parse(text) as { error?: string }).error ?? text;
    } catch {
      // A plain sentence.
    }
    throw new Error(sentence);
  }
  return response;
}

export async function get<Answer>(path: string): Promise<Answer> {
  return (await (await request("GET", path)).json()) as Answer;
}

export async function getText(path: string): Promise<string> {
  return (await request("GET", path)).text();
}

export interface ReceivedFile {
  name: string;
  bytes: Blob;
  notice: string;
}

export async function getFile(path: string): Promise<ReceivedFile> {
  const response = await request("GET", path);
  const name = /filename\*=UTF-8''(.*)$/.exec(response.headers.get("Content-Disposition") ?? "")?.[1] ?? "file";
  return {
    name: decodeURIComponent(name),
    bytes: await response.blob(),
    notice: decodeURIComponent(response.headers.get("X-Velmora-Notice") ?? ""),
  };
}

export async function send<Answer>(method: "POST" | "PATCH" | "DELETE", path: string, body: unknown = {}): Promise<Answer> {
  return (await (await request(method, path, body)).json()) as Answer;
}
