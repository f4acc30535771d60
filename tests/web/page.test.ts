// Whole jobs in a browser against the program of this build, and access to its server.
//
// VELMORA_COMMAND names the program, VELMORA_BROWSER a Chromium.
import { type ChildProcess, execFileSync, spawn, spawnSync } from "node:child_process";
import { randomBytes } from "node:crypto";
import { closeSync, copyFileSync, existsSync, mkdirSync, mkdtempSync, openSync, readdirSync, readFileSync, readSync, rmSync, writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import http from "node:http";
import https from "node:https";
import { type AddressInfo, connect } from "node:net";
import { networkInterfaces, tmpdir } from "node:os";
import { delimiter, dirname, join, resolve as resolvePath } from "node:path";
import { choicesOptions, fieldGroups } from "../../workbench/web/fields";
import type { DialogQuestion, DialogsState } from "../../workbench/web/types";
import { type Browser, chromium, type Page } from "playwright-core";
import { afterAll, afterEach, beforeAll, describe, expect, it } from "vitest";

const command = resolvePath(process.env["VELMORA_COMMAND"] ?? "build/dev/velmora");
const source = join(import.meta.dirname, "../..");
const axe = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");

// --- The program

interface Program {
  process: ChildProcess;
  address: string;
  port: number;
  ended: Promise<number | null>;
}

const running = new Set<ChildProcess>();

async function open(data: string, ...options: string[]): Promise<Program> {
  return launch("open", data, "--no-browser", ...options);
}

async function openWith(environment: Record<string, string>, data: string): Promise<Program> {
  return launchWith(environment, "open", data, "--no-browser");
}

async function launch(...words: string[]): Promise<Program> {
  return launchWith({}, ...words);
}

async function launchWith(environment: Record<string, string>, ...words: string[]): Promise<Program> {
  const env = { ...process.env, XDG_CONFIG_HOME: configuration, ...environment };
  const child = spawn(command, words, { stdio: ["ignore", "ignore", "pipe"], env });
  running.add(child);
  const ended = new Promise<number | null>((resolve) => child.on("exit", (code) => (running.delete(child), resolve(code))));
  const address = await new Promise<string>((resolve, reject) => {
    let text = "";
    child.stderr?.on("data", (bytes: Buffer) => {
      text += bytes.toString();
      const found = /https?:\S+/.exec(text);
      if (found) resolve(found[0]);
    });
    void ended.then(() => reject(new Error(`velmora ${words[0]} has ended: ${text}`)));
  });
  return { process: child, address, port: Number(new URL(address).port), ended };
}

interface Answer {
  status: number;
  headers: http.IncomingHttpHeaders;
  text: string;
}

// A request as any program can make it, with any header.
function ask(port: number, path: string, headers: http.OutgoingHttpHeaders = {}, method = "GET", body?: string): Promise<Answer> {
  return new Promise((resolve, reject) => {
    const request = http.request({ host: "127.0.0.1", port, path, method, headers, agent: false }, (response) => {
      let text = "";
      response.on("data", (bytes: Buffer) => (text += bytes.toString()));
      response.on("end", () => resolve({ status: response.statusCode ?? 0, headers: response.headers, text }));
    });
    request.on("error", reject);
    request.end(body);
  });
}

async function signIn(program: Program): Promise<string> {
  const url = new URL(program.address);
  const answer = await ask(program.port, url.pathname + url.search);
  expect(answer.status).toBe(303);
  return (answer.headers["set-cookie"]?.[0] ?? "").split(";")[0] ?? "";
}

function cli(...words: string[]): string {
  return execFileSync(command, words, { encoding: "utf8", stdio: ["ignore", "pipe", "ignore"], maxBuffer: 1 << 28 });
}

// Whether a text is in the heap, the stacks or the variables of a process.
function memoryHolds(process: number, text: string): boolean {
  const largest = 1 << 28; // what a sanitizer keeps for itself is larger
  const block = Buffer.alloc(1 << 22);
  const memory = openSync(`/proc/${process}/mem`, "r");
  try {
    for (const line of readFileSync(`/proc/${process}/maps`, "utf8").split("\n")) {
      const [, first, last] = /^([0-9a-f]+)-([0-9a-f]+) rw/.exec(line) ?? [];
      const [begin, end] = [BigInt(`0x${first ?? 0}`), BigInt(`0x${last ?? 0}`)];
      if (end - begin > largest) continue;
      // Blocks overlap, for a text at the edge of one.
      for (let at = begin; at < end; at += BigInt(block.length - text.length)) {
        const count = Number(end - at < block.length ? end - at : block.length);
        try {
          if (block.subarray(0, readSync(memory, block, 0, count, at)).includes(text)) return true;
        } catch {
          break; // it has gone meanwhile
        }
      }
    }
    return false;
  } finally {
    closeSync(memory);
  }
}

const hasLoopback6 = Object.values(networkInterfaces()).some((ones) => ones?.some((one) => one.address === "::1"));

let folder = "";
let data = "";
const configuration = mkdtempSync(join(tmpdir(), "velmora-configuration-"));
let browser: Browser;

beforeAll(async () => {
  browser = await chromium.launch({
    executablePath: process.env["VELMORA_BROWSER"] ?? "/usr/bin/chromium",
    args: ["--no-sandbox"],
  });
});

afterAll(async () => {
  await browser.close();
  rmSync(configuration, { recursive: true, force: true });
});

function freshData(): void {
  folder = mkdtempSync(join(tmpdir(), "velmora-page-"));
  data = join(folder, "german_credit.csv");
  copyFileSync(join(source, "samples/german_credit.csv"), data);
}

afterEach(() => {
  for (const child of running) child.kill("SIGKILL");
  if (folder) rmSync(folder, { recursive: true, force: true });
});

// --- The page

const faults: string[] = [];

async function window(address: string): Promise<Page> {
  const context = await browser.newContext({ viewport: { width: 1366, height: 820 }, ignoreHTTPSErrors: true });
  const page = await context.newPage();
  page.on("pageerror", (error) => faults.push(error.message));
  page.on("console", (message) => {
    if (message.type() === "error" && /Content Security|Uncaught/.test(message.text())) faults.push(message.text());
  });
  page.on("request", (request) => {
    if (!/^https?:\/\/127\.0\.0\.1:/.test(request.url()) && !request.url().startsWith("data:")) faults.push(request.url());
  });
  page.setDefaultTimeout(60_000);
  await page.goto(address);
  return page;
}

async function chooseOutcome(page: Page, name: string): Promise<void> {
  await page.locator("input[role=combobox]").first().fill(name);
  await page.keyboard.press("Enter");
}

async function findBins(page: Page): Promise<void> {
  await page.getByRole("button", { name: "Bins", exact: true }).click();
  await chooseOutcome(page, "risk");
  await page.getByRole("button", { name: "Find bins" }).click();
  await page.locator(".bins-chart").waitFor();
}

async function figure(page: Page, name: string): Promise<string> {
  return page.locator(".figure", { has: page.getByText(name, { exact: true }) }).locator("b").innerText();
}

describe("the server", () => {
  it("lets in the browser of the first address and nobody else", async () => {
    freshData();
    writeFileSync(join(folder, "..", "velmora-outside.csv"), "a,b\n1,2\n");
    const program = await open(data);
    const { port } = program;
    const host = `127.0.0.1:${port}`;
    const path = new URL(program.address).pathname + new URL(program.address).search;

    expect((await ask(port, "/")).status).toBe(403);
    expect((await ask(port, "/?token=")).status).toBe(403);
    expect((await ask(port, `/?token=${"0".repeat(64)}`)).status).toBe(403);
    expect((await ask(port, "/api/overview")).status).toBe(403);
    // A wrong host does not use the token up.
    expect((await ask(port, path, { host: `evil.example:${port}` })).status).toBe(403);
    expect((await ask(port, path, { host: "127.0.0.1:1" })).status).toBe(403);
    const cookie = await signIn(program);
    expect((await ask(port, path)).status).toBe(403); // used
    const me = { cookie, host };
    const page = await ask(port, "/", me);
    expect(page.status).toBe(200);
    expect(page.headers["content-security-policy"]).toMatch(/^default-src 'none'; script-src 'self'; style-src 'self';/);
    expect(page.text).not.toMatch(/<script>|<style|onload=/);

    const foreign: http.OutgoingHttpHeaders[] = [
      { ...me, origin: "http://evil.example" },
      { ...me, origin: "null" },
      { ...me, origin: `http://127.0.0.1:${port + 1}` },
      { ...me, "sec-fetch-site": "cross-site" },
      { ...me, "sec-fetch-site": "same-site" },
      { ...me, host: `evil.example:${port}` },
      { host, cookie: `${cookie}0` },
      { host, cookie: cookie.replace(/=./, "=x") },
    ];
    for (const headers of foreign) {
      expect((await ask(port, "/api/overview", headers)).status, JSON.stringify(headers)).toBe(403);
      expect((await ask(port, "/api/sessions/1/runs", headers, "POST", "{}")).status).toBe(403);
    }
    // A form of another page can send no header of its own.
    expect((await ask(port, "/api/open", me, "POST", JSON.stringify({ path: data }))).status).toBe(403);
    const change = { ...me, "x-velmora": "1" };

    const outside = ["/etc", "/etc/passwd", "..", "../velmora-outside.csv", `${folder}/../velmora-outside.csv`, `${folder}x`, "a\0b", "~"];
    for (const name of outside) {
      expect((await ask(port, `/api/files?folder=${encodeURIComponent(name)}`, me)).status, name).toBe(400);
      expect((await ask(port, "/api/open", change, "POST", JSON.stringify({ path: name }))).status, name).toBe(400);
    }
    expect((await ask(port, "/../../etc/passwd", me)).status).toBe(404);
    expect((await ask(port, "/api/sessions/99", me)).status).toBe(400);

    const refused = ["module", "modul", "log", "out", "bins", "cut-points", "cut-p", "format", "delimiter"];
    for (const option of refused) {
      const body = JSON.stringify({ analysis: "screen", options: { "binary-response": "risk", [option]: "/tmp/x" } });
      const answer = await ask(port, "/api/sessions/1/runs", change, "POST", body);
      expect([answer.status, answer.text], option).toEqual([400, JSON.stringify({ error: `The page cannot set the option ${option}.` })]);
    }
    for (const body of ["", "[]", "{", "null", '{"analysis":5}', '{"analysis":"screen"}', "\u0000"])
      expect((await ask(port, "/api/sessions/1/runs", change, "POST", body)).status, body).toBe(400);
    const large = await ask(port, "/api/sessions/1/count", change, "POST", "x".repeat(9 << 20)).catch(() => null);
    expect(large === null || large.status === 413).toBe(true);
    expect((await ask(port, "/api/sessions/1", me)).status).toBe(200);
  });

  it("answers two hundred requests at once, and lives on when its worker dies", async () => {
    freshData();
    const program = await open(data);
    const cookie = await signIn(program);
    const me = { cookie, host: `127.0.0.1:${program.port}` };
    const grid = (row: number) => ask(program.port, `/api/sessions/1/grid?row=${row}&rows=50&column=0&columns=8`, me);
    await expect.poll(async () => (await grid(0)).status).toBe(200);
    for (let round = 0; round < 5; ++round) {
      const answers = await Promise.all(Array.from({ length: 200 }, (_, row) => grid(row)));
      answers.forEach((answer, row) => expect(JSON.parse(answer.text).row).toBe(row));
    }
    const child = execFileSync("pgrep", ["-P", String(program.process.pid)], { encoding: "utf8" }).trim();
    process.kill(Number(child), "SIGKILL");
    await expect.poll(async () => (await grid(3)).status).toBe(200);
  });

  it("lists of the files that were opened before those that it may open, the last one first", async () => {
    freshData();
    const first = await open(data);
    const elsewhere = mkdtempSync(join(tmpdir(), "velmora-elsewhere-"));
    const houses = join(elsewhere, "houses.csv");
    writeFileSync(houses, "price,size\n1,2\n3,4\n");
    const second = await open(houses);
    const headersOf = async (program: Program) => ({ cookie: await signIn(program), host: `127.0.0.1:${program.port}`, "x-velmora": "1" });
    const recentOf = async (program: Program, headers: http.OutgoingHttpHeaders) =>
      (JSON.parse((await ask(program.port, "/api/overview", headers)).text).recent as string[]).filter((file) => file === data || file === houses);
    // This program must not open files that another one has opened meanwhile.
    expect(await recentOf(first, await headersOf(first))).toEqual([data]);
    const headers = await headersOf(second);
    expect(await recentOf(second, headers)).toEqual([houses, data]);
    for (const path of [data, houses]) {
      // The second one is open already.
      expect((await ask(second.port, "/api/open", headers, "POST", JSON.stringify({ path }))).status).toBe(200);
      expect((await recentOf(second, headers))[0]).toBe(path);
    }
    rmSync(elsewhere, { recursive: true });
  });

  it("ends requests without end", async () => {
    freshData();
    const program = await open(data);
    const cookie = await signIn(program);
    const host = `127.0.0.1:${program.port}`;
    const chunks = { host, cookie, "x-velmora": "1", "transfer-encoding": "chunked" };
    expect((await ask(program.port, "/api/sessions/1/count", chunks, "POST", "{}")).status).toBe(411);
    const block = Buffer.from("X-Header: ".padEnd(4000, "y") + "\r\n");
    const sent = await new Promise<number>((resolve) => {
      const socket = connect(program.port, "127.0.0.1");
      socket.write(`GET / HTTP/1.1\r\nHost: ${host}\r\n`);
      const more = () => void (socket.writable && socket.write(block, more));
      socket.on("connect", more);
      socket.on("error", () => undefined);
      // Without a reader the end is seen only when the kernel next asks for room, minutes later.
      socket.on("end", () => socket.destroy());
      socket.resume();
      socket.on("close", () => resolve(socket.bytesWritten));
    });
    expect(sent).toBeGreaterThan(1 << 20);
    const memory = Number(/VmHWM:\s+(\d+)/.exec(readFileSync(`/proc/${program.process.pid}/status`, "utf8"))?.[1]);
    expect(memory).toBeLessThan(2 << 20); // KB: even with sanitizers, far from what a browser can send
    expect((await ask(program.port, "/api/sessions/1", { host, cookie })).status).toBe(200);
  });

  it("takes leave of every window before it ends", async () => {
    freshData();
    const program = await open(data);
    const cookie = await signIn(program);
    const events = () =>
      new Promise<http.IncomingMessage>((resolve, reject) => {
        const headers = { cookie, host: `127.0.0.1:${program.port}` };
        http.get({ host: "127.0.0.1", port: program.port, path: "/api/events", headers, agent: false }, resolve).on("error", reject);
      });
    const windows = await Promise.all([events(), events(), events()]);
    // A response that breaks off is an error here; a browser drops the events of such a response
    // that it has not read yet.
    const read = windows.map(async (response) => (await response.toArray()).join(""));
    program.process.kill("SIGINT");
    for (const text of await Promise.all(read)) expect(text).toMatch(/data: {"type":"stopped"}\n\n$/);
    expect(await program.ended).toBe(0);
  });
});

describe("a workbench for other machines", () => {
  it("speaks TLS and lets in who knows the password", async () => {
    freshData();
    const [key, certificate, password] = ["key.pem", "cert.pem", "password.txt"].map((name) => join(folder, name)) as [string, string, string];
    const curve = ["-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1"];
    execFileSync("openssl", ["req", "-x509", ...curve, "-nodes", "-days", "2", "-subj", "/CN=localhost", "-keyout", key, "-out", certificate], { stdio: "ignore" });
    writeFileSync(password, "correct horse\n", { mode: 0o600 });
    const tls = ["--tls-cert", certificate, "--tls-key", key];
    const secret = ["--password-file", password];
    const refused: [string[], RegExp][] = [
      [["--host", "0.0.0.0", "--name", "here", ...secret], /Without TLS/],
      [["--host", "0.0.0.0", ...tls, ...secret], /needs --name/],
      [["--tls-cert", certificate, ...secret], /belong together/],
      [tls, /password is missing/],
      [["--password-file", certificate, ...tls], /others can read/],
    ];
    for (const [words, sentence] of refused) {
      const ended = spawnSync(command, ["serve", data, ...words], { encoding: "utf8" });
      expect([ended.status, sentence.test(ended.stderr)], `${words.join(" ")}: ${ended.stderr}`).toEqual([2, true]);
    }
    expect(spawnSync(command, ["serve", data, "--port", "0", "--tls-cert", certificate, "--tls-key", certificate, ...secret], { encoding: "utf8" }).status).toBe(1);

    const program = await launch("serve", data, "--port", "0", "--name", "Stats.Example.org", ...tls, ...secret);
    const { port } = program;
    expect(program.address).toBe(`https://stats.example.org:${port}/`);
    const host = `127.0.0.1:${port}`;
    const askSafely = (path: string, headers: http.OutgoingHttpHeaders = {}, method = "GET", body?: string) =>
      new Promise<Answer>((resolve, reject) => {
        const request = https.request({ host: "127.0.0.1", port, path, method, headers: { host, ...headers }, rejectUnauthorized: false, agent: false }, (response) => {
          let text = "";
          response.on("data", (bytes: Buffer) => (text += bytes.toString()));
          response.on("end", () => resolve({ status: response.statusCode ?? 0, headers: response.headers, text }));
        });
        request.on("error", reject);
        request.end(body);
      });
    await expect(ask(port, "/")).rejects.toThrow(); // without TLS
    const door = await askSafely("/?token=");
    expect([door.status, /type="password"/.test(door.text), /<script|app\.js/.test(door.text)]).toEqual([200, true, false]);
    for (const path of ["/app.js", "/api/overview", "/api/sessions/1", "/api/events"]) expect((await askSafely(path)).status, path).toBe(401);
    expect((await askSafely("/", { host: `evil.example:${port}` })).status).toBe(403);
    for (const name of ["stats.example.org", `STATS.example.org:${port}`]) expect((await askSafely("/", { host: name })).status, name).toBe(200);
    // A link in another page leads to the sign-in page; any other request from another page is
    // refused.
    const link = { "sec-fetch-site": "cross-site", "sec-fetch-mode": "navigate", "sec-fetch-dest": "document" };
    const linked = await askSafely("/", link);
    expect([linked.status, /type="password"/.test(linked.text), /Continue/.test(linked.text)]).toEqual([200, true, true]);
    expect(door.text).not.toMatch(/Continue/);
    for (const [path, headers] of [
      ["/", { ...link, "sec-fetch-dest": "iframe" }],
      ["/", { ...link, "sec-fetch-mode": "no-cors", "sec-fetch-dest": "image" }],
      ["/app.css", link],
      ["/api/overview", link],
    ] as const)
      expect((await askSafely(path, headers)).status, path).toBe(403);
    expect((await askSafely("/", link, "POST", "")).status).toBe(403);
    const form = { origin: `https://${host}`, "content-type": "application/x-www-form-urlencoded" };
    const signIn = (headers: http.OutgoingHttpHeaders, body: string) => askSafely("/sign-in", headers, "POST", body);
    expect((await signIn({ ...form, origin: "https://evil.example" }, "password=correct+horse")).status).toBe(403);
    expect((await signIn({ "content-type": form["content-type"] }, "password=correct+horse")).status).toBe(403);
    for (const wrong of ["", "password=", "password=correct+hors"]) {
      const answer = await signIn(form, wrong);
      expect([answer.status === 403 || answer.status === 429, answer.headers["set-cookie"]], wrong).toEqual([true, undefined]);
    }
    program.process.kill("SIGINT");
    expect(await program.ended).toBe(0);

    const again = await launch("serve", data, "--port", "0", ...tls, ...secret);
    const elsewhere = http.createServer((_, response) => response.setHeader("content-type", "text/html").end(`<a href="${again.address}">here</a>`));
    await new Promise<void>((resolve) => elsewhere.listen(0, "127.0.0.1", resolve));
    const page = await window(`http://127.0.0.1:${(elsewhere.address() as AddressInfo).port}/`);
    await page.getByRole("link", { name: "here" }).click();
    elsewhere.close();
    await page.getByLabel("Password").fill("wrong horse");
    await page.keyboard.press("Enter");
    await page.getByText("The password is wrong.").waitFor();
    await page.evaluate(axe);
    const found = await page.evaluate(async () => {
      const result = await (globalThis as unknown as { axe: { run: () => Promise<{ violations: { id: string }[] }> } }).axe.run();
      return result.violations.map((one) => one.id);
    });
    expect(found).toEqual([]);
    await page.getByLabel("Password").fill("correct horse");
    await page.keyboard.press("Enter");
    await page.getByRole("gridcell", { name: "below 0 DM" }).first().waitFor();
    const [cookie] = await page.context().cookies();
    expect([cookie?.httpOnly, cookie?.secure, cookie?.sameSite]).toEqual([true, true, "Strict"]);
    const second = await page.context().newPage();
    await second.goto(again.address);
    await second.getByRole("gridcell", { name: "below 0 DM" }).first().waitFor();
    const events = await new Promise<http.IncomingMessage>((resolve, reject) => {
      const headers = { host: new URL(again.address).host, cookie: `${cookie?.name}=${cookie?.value}` };
      https.get({ host: "127.0.0.1", port: again.port, path: "/api/events", headers, rejectUnauthorized: false, agent: false }, resolve).on("error", reject);
    });
    await page.getByRole("button", { name: "Sign out" }).click();
    await page.getByLabel("Password").waitFor();
    await events.toArray(); // the stream ends, and with it what other windows see
    await second.getByLabel("Password").waitFor();
    await page.goto(again.address);
    await page.getByLabel("Password").waitFor();
    expect(faults).toEqual([]);
  });

  it("forgets the password", async () => {
    freshData();
    // A text that occurs neither in this test nor in the program.
    const password = randomBytes(24).toString("hex");
    const file = join(folder, "password.txt");
    writeFileSync(file, `${password}\n`, { mode: 0o600 });
    const inFile = [["--password-file", file], {}] as const;
    const inEnvironment = [[], { VELMORA_PASSWORD: password }] as const;
    // A sanitizer keeps a copy of the environment that the program began with.
    const isSanitized = process.env["VELMORA_SANITIZED"] === "1";
    for (const [words, env] of isSanitized ? [inFile] : [inFile, inEnvironment]) {
      const program = await launchWith(env, "serve", data, "--port", "0", ...words);
      const pid = program.process.pid ?? 0;
      expect([memoryHolds(pid, configuration), memoryHolds(pid, password)]).toEqual([true, false]);
      expect(readFileSync(`/proc/${program.process.pid}/environ`, "utf8")).not.toContain(password);
      program.process.kill("SIGINT");
      expect(await program.ended).toBe(0);
    }
  });

  it.skipIf(!hasLoopback6)("is reached under an address of IPv6", async () => {
    freshData();
    const file = join(folder, "password.txt");
    writeFileSync(file, "correct horse\n", { mode: 0o600 });
    const program = await launch("serve", data, "--host", "::1", "--port", "0", "--password-file", file);
    expect(program.address).toBe(`http://[::1]:${program.port}/`);
    expect((await fetch(program.address)).status).toBe(200);
  });
});

describe("analyses", () => {
  const flag = { "binary-response": "risk", good: "good", bad: "bad" };
  const me = (program: Program, cookie: string) => ({ cookie, host: `127.0.0.1:${program.port}`, "x-velmora": "1" });
  const start = async (program: Program, headers: http.OutgoingHttpHeaders, analysis: string, options: object) =>
    JSON.parse((await ask(program.port, "/api/sessions/1/runs", headers, "POST", JSON.stringify({ analysis, options }))).text).run as number;
  const runOf = async (program: Program, headers: http.OutgoingHttpHeaders, run: number) =>
    JSON.parse((await ask(program.port, "/api/sessions/1", headers)).text).runs.find((one: { run: number }) => one.run === run);
  const childrenOf = (process: number) => {
    try {
      return execFileSync("pgrep", ["-P", String(process)], { encoding: "utf8" }).split("\n").filter(Boolean).map(Number);
    } catch {
      return []; // pgrep found none
    }
  };
  const loaded = async (program: Program, headers: http.OutgoingHttpHeaders) =>
    expect.poll(async () => JSON.parse((await ask(program.port, "/api/sessions/1", headers)).text).variables.length).toBe(21);

  it("end alone when they crash or are cancelled", async () => {
    freshData();
    const program = await open(data);
    const headers = me(program, await signIn(program));
    await loaded(program, headers);
    const quick = await start(program, headers, "feature-selection", { dependents: ["risk"] });
    await expect.poll(async () => (await runOf(program, headers, quick)).status).toBe("done");
    const [worker] = childrenOf(program.process.pid ?? 0);
    // The report of a run comes before the end of its process.
    await expect.poll(() => childrenOf(worker ?? 0)).toEqual([]);
    // So many permutations never end by themselves while the test looks on.
    const endless = { ...flag, permutations: 1_000_000, predictors: ["age", "amount", "duration_months"] };
    for (const [end, status, sentence] of [
      ["crash", "failed", "The analysis ended unexpectedly (signal 6). The data and all other results are unchanged."],
      ["cancel", "cancelled", "Cancelled."],
    ] as const) {
      const run = await start(program, headers, "screen", endless);
      await expect.poll(() => childrenOf(worker ?? 0).length).toBe(1);
      if (end === "crash") process.kill(childrenOf(worker ?? 0)[0] ?? 0, "SIGABRT");
      else expect((await ask(program.port, `/api/sessions/1/runs/${run}/cancel`, headers, "POST", "{}")).status).toBe(200);
      await expect.poll(async () => (await runOf(program, headers, run)).status).toBe(status);
      expect((await runOf(program, headers, run)).error).toBe(sentence);
      expect(childrenOf(worker ?? 0)).toEqual([]);
      expect((await ask(program.port, `/api/sessions/1/runs/${quick}`, headers)).status).toBe(200);
      expect((await ask(program.port, "/api/sessions/1/grid?row=0&rows=5&column=0&columns=5", headers)).status).toBe(200);
    }
    expect(childrenOf(program.process.pid ?? 0)).toEqual([worker]);
  });

  it("give the figures of the command where options change what a variable is", async () => {
    freshData();
    const program = await open(data);
    const headers = me(program, await signIn(program));
    await loaded(program, headers);
    const options = { dependents: ["risk"], categorical: ["age"], missing: { duration_months: [12, 24], housing: ["rent"] } };
    const run = await start(program, headers, "feature-selection", options);
    await expect.poll(async () => (await runOf(program, headers, run)).status).toBe("done");
    const report = JSON.parse((await ask(program.port, `/api/sessions/1/runs/${run}`, headers)).text);
    const words = ["--categorical", "age", "--missing", "duration_months=12,24", "housing=rent"];
    const expected = JSON.parse(cli("feature-selection", data, "--dependents", "risk", ...words, "--format", "json"));
    expect(report.dependents).toEqual(expected.dependents);
    expect(report.run.leftOut).toEqual(expected.run.leftOut);
  });

  it("can be set by every option of the command that names no file", async () => {
    freshData();
    const program = await open(data);
    const headers = me(program, await signIn(program));
    const names = JSON.parse((await ask(program.port, "/api/overview", headers)).text).options as string[];
    // How the file is read is said when it is opened, and it is read, not counted by a database; where results go, and which module
    // runs, is no choice of a page. Files are taken away after the run.
    const elsewhere = [
      "missing-text", "delimiter", "encoding", "no-header", "ragged", "date-parts", "since", "sheet", "range", "table", "sql-from",
      "cut-points", "shapes", "save-best", "save-chance", "bins", "recode", "rules", "sql", "sql-dialect", "python", "coded",
      "push-down", "where", "cells",
      "out", "format", "csv-for", "save-bundles", "print-script", "threads", "memory", "quiet", "module", "log",
    ];
    for (const analysis of ["screen", "feature-selection"] as const) {
      const page = execFileSync(command, ["help", analysis], { encoding: "utf8" });
      const options = [...new Set([...page.matchAll(/^ {2}--([a-z-]+)/gm)].map((match) => match[1] ?? ""))];
      expect(options.length).toBeGreaterThan(30);
      expect(options.filter((option) => !names.includes(option) && !elsewhere.includes(option)), analysis).toEqual([]);
      // A switch of its own for one value of an option that takes many.
      const optionOf = (field: string) => (field === "user-missing" ? "special" : field);
      const fields = fieldGroups[analysis].flatMap((group) => group.fields.map((field) => optionOf(field.option)));
      const set = [...fields, ...choicesOptions[analysis]];
      expect(options.filter((option) => names.includes(option) && !set.includes(option)), analysis).toEqual([]);
      expect(set.filter((option) => !names.includes(option) || !options.includes(option)), analysis).toEqual([]);
    }
  });

  it("hand over the files that the command writes, byte for byte", async () => {
    freshData();
    const scratch = join(folder, "scratch");
    mkdirSync(scratch);
    const program = await openWith({ TMPDIR: scratch }, data);
    const headers = me(program, await signIn(program));
    await loaded(program, headers);
    const fetched = async (path: string) => {
      const answer = await fetch(`http://127.0.0.1:${program.port}/api/sessions/1/runs/${path}`, { headers: { cookie: String(headers["cookie"]) } });
      const bytes = Buffer.from(await answer.arrayBuffer());
      expect(answer.status, `${path}: ${bytes.toString("utf8", 0, 300)}`).toBe(200);
      return bytes;
    };
    const same = async (path: string, file: string) => {
      const bytes = await fetched(path);
      const expected = readFileSync(join(folder, file));
      expect(bytes.equals(expected), `${path} is ${file}`).toBe(true);
    };
    const sameFiles = async (path: string, names: string[], from: string) => {
      writeFileSync(join(folder, "files.zip"), await fetched(path));
      const unpacked = join(folder, `unpacked${++archives}`);
      execFileSync("python3", ["-m", "zipfile", "-e", join(folder, "files.zip"), unpacked]);
      expect(readdirSync(unpacked).sort(), path).toEqual([...names].sort());
      for (const name of names) expect(readFileSync(join(unpacked, name), "utf8"), `${path}: ${name}`).toBe(readFileSync(join(folder, from, name), "utf8"));
    };
    // A workbook holds the second in which it was made.
    const sameWorkbook = async (path: string, file: string) => {
      writeFileSync(join(folder, "files.zip"), await fetched(path));
      const parts = [join(folder, "files.zip"), join(folder, file)].map((archive) =>
        execFileSync("python3", ["-c", "import sys, zipfile\nwith zipfile.ZipFile(sys.argv[1]) as z:\n for n in z.namelist():\n  if n != 'docProps/core.xml': print(n, z.read(n))", archive], { encoding: "utf8", maxBuffer: 1 << 28 }),
      );
      expect(parts[0] === parts[1], `${path} is ${file}`).toBe(true);
    };
    let archives = 0;
    const path = `${dirname(command)}${delimiter}${process.env["PATH"] ?? ""}`;
    const shell = (line: string) => execFileSync("sh", ["-ec", line], { cwd: folder, env: { ...process.env, PATH: path }, stdio: ["ignore", "ignore", "inherit"] });
    const done = async (run: number) => expect.poll(async () => (await runOf(program, headers, run)).status).toBe("done");
    const commandsOf = async (run: number) => (await runOf(program, headers, run)).commands as string[];

    const ranking = await start(program, headers, "feature-selection", { dependents: ["risk"], select: "age > 20" });
    await done(ranking);
    shell(`${(await commandsOf(ranking))[0]} --out rank --quiet`);
    for (const format of ["html", "json", "csv"]) await same(`${ranking}/export?format=${format}`, `rank/feature_selection.${format}`);
    await sameWorkbook(`${ranking}/export?format=xlsx`, "rank/feature_selection.xlsx");
    writeFileSync(join(folder, "page_bundles.parquet"), await fetched(`${ranking}/export?format=bundles`));
    shell(`${(await commandsOf(ranking))[0]} --save-bundles --quiet`);
    const bundlesOf = (file: string) => JSON.parse(cli("variables", join(folder, file), "--format", "json")).bundles;
    expect(bundlesOf("page_bundles.parquet")).toEqual(bundlesOf("german_credit_bundles.csv"));
    expect(bundlesOf("page_bundles.parquet").length).toBe(2);
    expect((await ask(program.port, `/api/sessions/1/runs/${ranking}/export?format=coded-csv`, headers)).status).toBe(400);
    expect((await ask(program.port, `/api/sessions/1/runs/${ranking}/export?format=script`, headers)).text).toMatch(/--print-script needs --classic/);

    const screening = await start(program, headers, "screen", { ...flag, special: { age: [30] }, by: "job", select: "age > 20" });
    await expect.poll(async () => (await ask(program.port, `/api/sessions/1/runs/${screening}/export?format=bins`, headers)).status).toBe(200);
    const [found] = await commandsOf(screening);
    shell(`${found} --out screen --quiet`);
    shell(`${found} --save-best 100000 --bins b.json --sql b.sql --sql-dialect postgresql --python b.py --rules b.txt --recode recode --coded b.csv --quiet`);
    shell(`${found} --save-best 100000 --coded b.parquet --quiet`);
    shell(`${found} --csv-for spreadsheet --format csv --quiet > formulas.csv`);
    await same(`${screening}/export?format=csv&reader=spreadsheet`, "formulas.csv");
    shell(`LC_ALL=C.UTF-8 ${found} --quiet > text.txt`);
    await same(`${screening}/export?format=text`, "text.txt");
    const exported = `${screening}/export?predictors=best&format=`;
    for (const format of ["html", "json"]) await same(exported + format, `screen/screening.${format}`);
    await sameWorkbook(`${exported}xlsx`, "screen/screening.xlsx");
    await sameFiles(`${exported}tables`, readdirSync(join(folder, "screen")).filter((name) => name.endsWith(".csv")), "screen");
    for (const [format, file] of [["bins", "b.json"], ["sql&dialect=postgresql", "b.sql"], ["python", "b.py"], ["rules", "b.txt"], ["coded-csv", "b.csv"], ["coded-parquet", "b.parquet"]]) await same(exported + format, file ?? "");
    await sameFiles(`${exported}recode`, readdirSync(join(folder, "recode")), "recode");

    // A scorecard of these bins.
    const name = "german_credit_screening_bins.json";
    copyFileSync(join(folder, "b.json"), join(folder, name));
    const options = { stepwise: true, pdo: 30, "round-points": true };
    const scorecard = `velmora scorecard german_credit.csv --bins=${name} '--select=age > 20' --stepwise --pdo=30 --round-points --quiet`;
    shell(`${scorecard} --out card`);
    shell(`${scorecard} --save c.json --sql c.sql --python c.py --pmml c.pmml`);
    const card = `${screening}/scorecard?predictors=best&options=${encodeURIComponent(JSON.stringify(options))}&format=`;
    for (const format of ["html", "json"]) await same(card + format, `card/scorecard.${format}`);
    await sameWorkbook(`${card}xlsx`, "card/scorecard.xlsx");
    await sameFiles(`${card}tables`, readdirSync(join(folder, "card")).filter((one) => one.endsWith(".csv")), "card");
    for (const [format, file] of [["card", "c.json"], ["sql", "c.sql"], ["python", "c.py"], ["pmml", "c.pmml"]]) await same(card + format, file ?? "");

    // Edited bins: the commands repeat the edits.
    const edit = async (predictor: string, one: object) => {
      const body = JSON.stringify({ response: "risk", predictor, edit: one });
      expect((await ask(program.port, `/api/sessions/1/runs/${screening}/bins`, headers, "POST", body)).status, JSON.stringify(one)).toBe(200);
    };
    const purpose = JSON.parse((await ask(program.port, `/api/sessions/1/runs/${screening}/bins?response=risk&predictor=purpose`, headers)).text).predictor;
    await edit("purpose", { operation: "group", levels: [purpose.levels[0].level], bins: [purpose.levels.find((one: { bin: number }) => one.bin !== purpose.levels[0].bin).bin] });
    await edit("age", { operation: "group", levels: [30], bins: [0] });
    await edit("age", { operation: "label", bins: [0], label: "it's -young-" });
    await edit("duration_months", { operation: "merge", bins: [0, 1] });
    await edit("telephone", { operation: "label", bins: [0], label: "$HOME" }); // no better than chance
    rmSync(join(folder, "german_credit_bins_2.json"), { force: true });
    const lines = await commandsOf(screening);
    expect(lines.length).toBe(7);
    for (const line of lines.slice(0, -1)) shell(line);
    // The command line has the level 30 as a text.
    const textLevels = (bytes: Buffer) => {
      const bins = JSON.parse(bytes.toString());
      return { ...bins, edits: bins.edits.map((one: { levels?: unknown[] }) => ({ ...one, levels: one.levels?.map(String) })) };
    };
    const made = await fetched(`${screening}/export?format=bins&predictors=all`);
    expect(textLevels(made)).toEqual(textLevels(readFileSync(join(folder, "german_credit_bins_2.json"))));
    shell("velmora bins export german_credit_bins_2.json --sql e.sql --python e.py --quiet");
    await same(`${screening}/export?format=sql&predictors=all`, "e.sql");
    await same(`${screening}/export?format=python&predictors=all`, "e.py");
    shell(`${lines.at(-1)} --out edited --quiet`);
    shell(`${lines.at(-1)} --save-best 100000 --save-chance --rules e.txt --recode recoded --quiet`);
    for (const format of ["html", "json"]) await same(`${screening}/export?format=${format}`, `edited/screening.${format}`);
    await sameWorkbook(`${screening}/export?format=xlsx`, "edited/screening.xlsx");
    await same(`${screening}/export?format=rules&predictors=all`, "e.txt");
    await sameFiles(`${screening}/export?format=recode&predictors=all`, readdirSync(join(folder, "recoded")), "recoded");
    // The accepted predictors alone.
    const refused = await ask(program.port, `/api/sessions/1/runs/${screening}/export?format=rules&predictors=accepted`, headers);
    expect([refused.status, refused.text]).toEqual([422, '{"error":"No predictor has been accepted yet."}']);
    const decisions = JSON.stringify({ decisions: { risk: { age: { accepted: true }, telephone: { accepted: true } } } });
    await ask(program.port, `/api/sessions/1/runs/${screening}`, headers, "PATCH", decisions);
    const accepted = JSON.parse((await fetched(`${screening}/export?format=bins&predictors=accepted`)).toString());
    expect(accepted.responses[0].predictors.map((one: { name: string }) => one.name).sort()).toEqual(["age", "telephone"]);
    const rules = (await fetched(`${screening}/export?format=rules&predictors=accepted`)).toString();
    expect(rules).toMatch(/age/);
    expect(rules).not.toMatch(/duration_months/);

    // The run that makes the rules has no options for predictors that are not accepted.
    const shaped = await start(program, headers, "screen", { ...flag, special: { age: [30] }, shape: ["duration_months=ascending"] });
    await done(shaped);
    await expect.poll(async () => (await ask(program.port, `/api/sessions/1/runs/${shaped}/export?format=bins`, headers)).status).toBe(200);
    await ask(program.port, `/api/sessions/1/runs/${shaped}`, headers, "PATCH", JSON.stringify({ decisions: { risk: { purpose: { accepted: true } } } }));
    shell("velmora screen german_credit.csv --binary-response=risk --good=good --bad=bad --predictors purpose --save-best 1 --rules p.txt --quiet");
    await same(`${shaped}/export?format=rules&predictors=accepted`, "p.txt");

    // The run of the dialogs, with an edit.
    const classic = await start(program, headers, "screen", { ...flag, classic: true });
    await expect.poll(async () => (await ask(program.port, `/api/sessions/1/runs/${classic}/export?format=bins`, headers)).status).toBe(200);
    const merge = JSON.stringify({ response: "risk", predictor: "amount", edit: { operation: "merge", bins: [0, 1] } });
    expect((await ask(program.port, `/api/sessions/1/runs/${classic}/bins`, headers, "POST", merge)).status).toBe(200);
    const steps = await commandsOf(classic);
    for (const line of steps.slice(0, -1)) shell(line);
    shell(`${steps.at(-1)} --save-best 100000 --rules k.txt --recode dialogs --quiet`);
    await same(`${classic}/export?format=rules&predictors=all`, "k.txt");
    await sameFiles(`${classic}/export?format=recode&predictors=all`, readdirSync(join(folder, "dialogs")), "dialogs");
    shell(`${steps.at(-1)} --print-script > dialogs.py`);
    await same(`${classic}/export?format=script`, "dialogs.py");
    // A file that has been sent is removed.
    await expect.poll(() => readdirSync(scratch)).toEqual([]);
  });

  it("hand over accepted predictors with the bins that are shown, which a search among fewer would not find", async () => {
    freshData();
    const [cases, count] = [400, 150];
    let seed = 7;
    const random = () => (seed = (seed * 48271) % 2147483647) / 2147483647;
    const shares = [0.08, 0.1, 0.12, 0.14, 0.16, 0.18, 0.2, 0.22];
    const rows = Array.from({ length: cases }, () => {
      const values = Array.from({ length: count }, () => Math.round(random() * 100) / 10);
      const share = shares.reduce((sum, one, i) => sum + ((values[i] ?? 0) > 5 ? 0.6 * one : 0), 0.1);
      return [random() < share ? "bad" : "good", ...values].join(",");
    });
    const wide = join(folder, "wide.csv");
    writeFileSync(wide, [["y", ...Array.from({ length: count }, (_, i) => `x${i}`)].join(","), ...rows].join("\n"));
    const program = await open(wide);
    const headers = me(program, await signIn(program));
    await expect.poll(async () => JSON.parse((await ask(program.port, "/api/sessions/1", headers)).text).variables.length).toBe(count + 1);
    const options = { "binary-response": "y", good: "good", bad: "bad" };
    const cutsOf = async (more: object) => {
      const run = await start(program, headers, "screen", { ...options, ...more });
      const address = `/api/sessions/1/runs/${run}`;
      const panel = () => ask(program.port, `${address}/bins?response=y&predictor=x4`, headers);
      await expect.poll(async () => (await ask(program.port, `${address}/export?format=bins&predictors=all`, headers)).status).toBe(200);
      return { address, cuts: JSON.parse((await panel()).text).predictor.cutPoints as number[] };
    };
    const shown = await cutsOf({});
    expect(shown.cuts).not.toEqual((await cutsOf({ predictors: ["x4"] })).cuts);
    await ask(program.port, shown.address, headers, "PATCH", JSON.stringify({ decisions: { y: { x4: { accepted: true } } } }));
    const coded = (await ask(program.port, `${shown.address}/export?format=coded-csv&predictors=accepted`, headers)).text.split("\n");
    const column = coded[0]?.split(",").indexOf("y_x4_Coded") ?? -1;
    expect(column).toBe(count + 1);
    const codes = new Set(coded.slice(1).filter(Boolean).map((line) => line.split(",")[column]));
    expect(codes.size).toBe(shown.cuts.length + 1);
    expect(readdirSync(folder).filter((name) => /bins|accepted/.test(name))).toEqual([]);
    // Labels with a decimal comma, as the command writes them.
    const comma = await cutsOf({ predictors: ["x4"], "decimal-separator": "," });
    const text = (await ask(program.port, `${comma.address}/export?format=text`, headers)).text;
    expect(text).toContain(`(-Inf; ${String(comma.cuts[0]).replace(".", ",")}]`);
    expect(comma.cuts[0]).not.toBe(Math.round(comma.cuts[0] ?? 0));
  });

  it("say that files of bins hold no dates", async () => {
    freshData();
    const dated = join(folder, "dated.csv");
    const rows = Array.from({ length: 400 }, (_, i) => `${i % 4 === 0 || i < 60 ? "bad" : "good"},2025-${String((i % 12) + 1).padStart(2, "0")}-0${(i % 7) + 1}`);
    writeFileSync(dated, ["flag,opened", ...rows].join("\n"));
    const program = await open(dated, "--encoding", "utf-8");
    const headers = me(program, await signIn(program));
    await expect.poll(async () => JSON.parse((await ask(program.port, "/api/sessions/1", headers)).text).variables.length).toBe(2);
    const run = await start(program, headers, "screen", { "binary-response": "flag", good: "good", bad: "bad", predictors: ["opened"] });
    const bins = async () => ask(program.port, `/api/sessions/1/runs/${run}/export?format=bins&predictors=all`, headers);
    await expect.poll(async () => (await bins()).text).toBe('{"error":"SQL, Python and JSON leave out opened, which holds dates."}');
    program.process.kill("SIGKILL");
    await program.ended;
    // The project says how the file is read.
    const again = await open(`${dated}.velmora`);
    const me2 = me(again, await signIn(again));
    await expect.poll(async () => (await runOf(again, me2, run)).commands[0]).toContain("--encoding=utf-8");
  });

  it("have bins whose held-out figures and stability are those of the command after every edit", async () => {
    freshData();
    const program = await open(data);
    const headers = me(program, await signIn(program));
    await loaded(program, headers);
    const missing = { duration_months: [18] };
    const alike = { ...flag, "missing-bin": "most-alike", missing };
    const rows: {
      options: Record<string, unknown>;
      response: string;
      predictor: string;
      edit?: object; // else the first two bins are joined, so that the figures are not those of the search
      compared?: Record<string, unknown>; // the options of the command, where they are others
    }[] = [
      { options: flag, response: "risk", predictor: "amount" },
      // The dialogs leave missing values out, and have no held-out figures.
      { options: { ...flag, classic: true, missing }, response: "risk", predictor: "duration_months", compared: { ...flag, "missing-bin": "drop", missing } },
      { options: alike, response: "risk", predictor: "duration_months" },
      { options: { ...flag, missing }, response: "risk", predictor: "duration_months", edit: { operation: "group", missing: true, bins: [0] } },
      { options: { ...flag, special: { duration_months: [24, 12] }, missing: { duration_months: [18] } }, response: "risk", predictor: "duration_months" },
      { options: { ...flag, "missing-bin": "drop", missing: { amount: ["1000"] } }, response: "risk", predictor: "amount" },
      { options: { ...flag, weight: "age" }, response: "risk", predictor: "purpose" },
      { options: { "continuous-response": "amount" }, response: "amount", predictor: "duration_months" },
      { options: { "categorical-response": "housing" }, response: "housing", predictor: "age" },
    ];
    const wordsOf = (options: Record<string, unknown>) =>
      Object.entries(options).flatMap(([name, value]) =>
        value === true ? [`--${name}`] : typeof value === "object" ? Object.entries(value ?? {}).map(([one, codes]) => `--${name}=${one}=${codes.join(",")}`) : [`--${name}=${value}`],
      );
    for (const { options, response, predictor, edit, compared } of rows) {
      const run = await start(program, headers, "screen", { ...options, by: "job", predictors: [predictor] });
      const address = `/api/sessions/1/runs/${run}`;
      const panelNow = async () => ask(program.port, `${address}/bins?response=${response}&predictor=${predictor}`, headers);
      await expect.poll(async () => (await panelNow()).status).toBe(200);
      const panel = JSON.parse((await panelNow()).text);
      const name = `${response}, ${predictor}, ${JSON.stringify(options)}`;
      const found = JSON.parse(cli("screen", data, ...wordsOf(options), "--by", "job", "--predictors", predictor, "--format", "json"));
      if (panel.kind === "binary")
        expect(panel.before.informationValue, name).toBeCloseTo(found.responses[0].predictors[0].informationValue, 6);
      const body = JSON.stringify({ response, predictor, edit: edit ?? { operation: "merge", bins: [0, 1] } });
      const edited = edit || panel.figures.length > 2 ? JSON.parse((await ask(program.port, `${address}/bins`, headers, "POST", body)).text) : panel;
      const file = join(folder, `bins${run}.json`);
      writeFileSync(file, (await ask(program.port, `${address}/export?format=bins`, headers)).text);
      const report = JSON.parse(cli("screen", data, ...wordsOf(compared ?? options), "--by", "job", "--predictors", predictor, "--cut-points", file, "--save-chance", "--format", "json"));
      const own = report.responses[0].predictors[0];
      if (edited.kind === "binary") {
        expect(edited.after.outOfFold.informationValue, name).toBeCloseTo(own.outOfFoldInformationValue, 12);
        expect(edited.after.outOfFold.gini, name).toBeCloseTo(own.outOfFoldGini, 12);
      }
      expect(edited.after.outOfFold.explained, name).toBeCloseTo(own.outOfFoldExplained, 12);
      const stable = report.stability.predictors[0];
      const groups = edited.after.stability.groups as { name: string; psi: number; reading: string }[];
      expect(groups.find((group) => group.name === stable.psiGroup)?.reading, name).toBe(stable.reading);
      expect(groups.map((group) => group.name), name).toEqual(report.stability.run.groups);
      expect(groups.find((group) => group.name === stable.psiGroup)?.psi, name).toBeCloseTo(stable.psi, 12);
    }
  });
});

// The dialogs of a program without a browser: what a page sends, and what it is sent.
class Dialogs {
  private constructor(private readonly port: number, private readonly headers: http.OutgoingHttpHeaders) {}

  static async of(program: Program, analysis: string): Promise<Dialogs> {
    const headers = { cookie: await signIn(program), host: `127.0.0.1:${program.port}`, "x-velmora": "1" };
    const dialogs = new Dialogs(program.port, headers);
    await expect.poll(async () => (await dialogs.send("POST", "", { analysis })).status).toBe(200);
    await expect.poll(async () => (await dialogs.state())?.dialogs.length).toBe(1);
    return dialogs;
  }

  send(method: string, path: string, body: object = {}): Promise<Answer> {
    return ask(this.port, `/api/sessions/1/dialogs${path}`, this.headers, method, JSON.stringify(body));
  }
  async act(action: object): Promise<void> {
    expect((await this.send("POST", "/actions", action)).status).toBe(200);
  }
  async state(): Promise<DialogsState | null> {
    return JSON.parse((await ask(this.port, "/api/sessions/1", this.headers)).text).dialogs;
  }
  async control(text: RegExp): Promise<{ dialog: number; control: number }> {
    const dialog = (await this.state())?.dialogs.at(-1);
    return { dialog: dialog?.dialog ?? 0, control: dialog?.controls.find((one) => text.test(one.text))?.id ?? 0 };
  }
  async press(text: RegExp): Promise<void> {
    await this.act({ do: "press", ...(await this.control(text)) });
  }
  async question(kind: string | undefined): Promise<DialogQuestion> {
    await expect.poll(async () => (await this.state())?.question?.kind).toBe(kind);
    return (await this.state())?.question as DialogQuestion;
  }
  async chooseVariables(asked: DialogQuestion): Promise<void> {
    const chosen: Record<string, string[]> = { "Binary dep.:": ["risk"], "Continuous predictors:": ["amount"] };
    await this.act({ do: "answer", question: asked.number, lists: asked.lists?.map((list) => chosen[list.caption] ?? []) });
  }
  // Everything that the page is sent from now on, until done says so.
  async eventsUntil(done: (event: Record<string, unknown>) => boolean, work: () => Promise<unknown>): Promise<void> {
    const response = await new Promise<http.IncomingMessage>((resolve, reject) => {
      const address = { host: "127.0.0.1", port: this.port, path: "/api/events", headers: this.headers, agent: false };
      http.get(address, resolve).on("error", reject);
    });
    await work();
    let text = "";
    for await (const bytes of response) {
      text += (bytes as Buffer).toString();
      const lines = text.split("\n\n");
      text = lines.pop() ?? "";
      if (lines.some((line) => line.startsWith("data: ") && done(JSON.parse(line.slice(6))))) return void response.destroy();
    }
    throw new Error("the stream of events has ended");
  }
}

describe("the dialogs", () => {
  it("end without an error when the user ends them", async () => {
    freshData();
    const dialogs = await Dialogs.of(await open(data), "screen");
    let error: unknown = "no event";
    const isEnd = (event: Record<string, unknown>) => {
      if (event["type"] === "dialogs" && event["state"] === null) error = event["error"];
      return error !== "no event";
    };
    await dialogs.eventsUntil(isEnd, () => dialogs.send("DELETE", ""));
    expect(error).toBe("");
  });

  it("pass over what comes late", async () => {
    freshData();
    const dialogs = await Dialogs.of(await open(data), "screen");
    await dialogs.act({ do: "interrupt" });
    await dialogs.act({ do: "answer", question: 1, lists: [] });
    await dialogs.press(/^Variables/);
    const asked = await dialogs.question("variables");
    for (let click = 0; click < 2; ++click) await dialogs.chooseVariables(asked);
    await dialogs.question(undefined);
    // Actions are done in their order: the next question shows that the others have been done.
    await dialogs.press(/^Variables/);
    await dialogs.question("variables");
    expect((await dialogs.state())?.messages).toEqual([]);
  });

  it("replace a file only after the user has seen the question", async () => {
    freshData();
    const kept = join(folder, "kept.txt");
    writeFileSync(kept, "precious");
    const dialogs = await Dialogs.of(await open(data), "screen");
    await dialogs.press(/^Variables/);
    await dialogs.chooseVariables(await dialogs.question("variables"));
    await dialogs.question(undefined);
    const edits = (await dialogs.state())?.dialogs[0]?.controls.filter((one) => one.kind === "edit") ?? [];
    for (const [place, text] of ["good", "bad"].entries())
      await dialogs.act({ do: "type", dialog: 1, control: edits[place]?.id, text });
    await dialogs.press(/^OK$/);
    // The results dialog, whenever the run has ended.
    await expect.poll(async () => (await dialogs.state())?.dialogs.at(-1)?.pages).toContain("Save");
    const { dialog } = await dialogs.control(/./);
    const pages = (await dialogs.state())?.dialogs.at(-1)?.pages ?? [];
    await dialogs.act({ do: "page", dialog, page: pages.indexOf("Save") });
    await expect.poll(async () => (await dialogs.control(/^Save as rules/)).control).not.toBe(0);
    const save = async () => {
      await dialogs.press(/^Save as rules/);
      const asked = (await dialogs.question("save")).number;
      // A double click answers twice.
      for (let click = 0; click < 2; ++click) await dialogs.act({ do: "answer", question: asked, file: "kept" });
      return (await dialogs.question("replace")).number;
    };
    await dialogs.act({ do: "answer", question: await save() }); // not a word of replacing
    await dialogs.question(undefined);
    const asked = await save();
    expect(readFileSync(kept, "utf8")).toBe("precious");
    await dialogs.act({ do: "answer", question: asked, replace: true });
    await expect.poll(() => readFileSync(kept, "utf8")).toContain("amount");
  });

  it("say in the question why it is asked again, and nowhere else", async () => {
    freshData();
    writeFileSync(join(folder, "broken.parquet"), "no table");
    const dialogs = await Dialogs.of(await open(data), "feature-selection");
    const rows = [
      ["Open Data", "file", { path: join(folder, "broken.parquet") }, /broken\.parquet/],
      ["Select cases", "cases", { include: "age >", exclude: "" }, /age >/],
      ["Case weights", "weight", { name: "shoe size" }, /shoe size/],
      ["Variables", "variables", { lists: [["shoe size"], [], [], [], []] }, /shoe size/],
    ] as const;
    for (const [button, kind, answer, wrong] of rows) {
      await dialogs.press(new RegExp(`^${button}`));
      const first = await dialogs.question(kind);
      expect([button, first.wrong]).toEqual([button, ""]);
      await dialogs.act({ do: "answer", question: first.number, ...answer });
      await expect.poll(async () => (await dialogs.state())?.question?.number, { message: button }).toBe(first.number + 1);
      expect((await dialogs.question(kind)).wrong).toMatch(wrong);
      await dialogs.act({ do: "answer", question: first.number + 1, cancel: true });
      await dialogs.question(undefined);
    }
    expect((await dialogs.state())?.messages).toEqual([]);
  });
});

describe("the page", () => {
  it("does a whole job: rank, bin, correct by mouse and keyboard, hand over", async () => {
    freshData();
    const program = await open(data);
    const page = await window(program.address);
    await page.getByRole("gridcell", { name: "below 0 DM" }).first().waitFor();
    expect(new URL(page.url()).search).toBe("");

    // The selection counts its cases, and completes names.
    const selection = page.getByLabel("Only cases where");
    await selection.fill("dura");
    await selection.press("Tab");
    await selection.pressSequentially(" > 12");
    await page.getByText(/^\d{3} of 1\u202f000 cases/).waitFor();
    const counted = await page.locator(".selection [role=status]").innerText();
    await selection.fill("duration_months >");
    await page.locator(".selection .problem").waitFor();
    await selection.fill("");
    await page.getByText("1\u202f000 of 1\u202f000 cases").waitFor();
    const kept = JSON.parse(cli("screen", data, "--binary-response", "risk", "--good", "good", "--bad", "bad", "--select", "duration_months > 12", "--format", "json"));
    expect(counted.replace(/\u202f/g, "")).toBe(`${kept.run.selectedCases} of 1000 cases`);

    // A code that is made missing counts no longer.
    await page.getByRole("option", { name: /^# ?duration_months/ }).click();
    await page.getByLabel("Missing codes").fill("12");
    await selection.fill("duration_months = 12");
    await page.getByText("0 of 1\u202f000 cases", { exact: true }).waitFor();
    await page.getByLabel("Missing codes").fill("");
    await selection.fill("");
    await page.getByText("1\u202f000 of 1\u202f000 cases").waitFor();

    await page.keyboard.press("Alt+2");
    await chooseOutcome(page, "risk");
    await page.getByRole("button", { name: "Rank predictors" }).click();
    await page.locator("tbody tr").nth(19).waitFor();
    const ranking = JSON.parse(cli("feature-selection", data, "--dependents", "risk", "--best", "10000", "--format", "json"));
    const best = ranking.dependents[0].best as string[];
    const shown = await page.locator("tbody th button").allInnerTexts();
    expect(shown.slice(0, best.length)).toEqual(best);
    const first = ranking.dependents[0].predictors.find((one: { name: string }) => one.name === best[0]);
    expect(await page.locator("tbody tr").first().innerText()).toContain(first.effect.toFixed(3));

    // A change of an option changes the result.
    await page.getByLabel("How many").fill("4,0");
    await page.keyboard.press("Tab");
    const command4 = "velmora feature-selection german_credit.csv --dependents=risk --cuts=4";
    await expect.poll(async () => (await (await page.request.get(new URL("/api/sessions/1", page.url()).href)).json()).runs[0].commands).toEqual([command4]);

    await page.getByRole("button", { name: "amount", exact: true }).click();
    await page.locator(".bins-chart").waitFor();
    const screened = JSON.parse(cli("screen", data, "--binary-response", "risk", "--good", "good", "--bad", "bad", "--format", "json"));
    const amount = screened.responses[0].predictors.find((one: { name: string }) => one.name === "amount");
    expect(await figure(page, "information value")).toBe(amount.informationValue.toFixed(4));

    // Drag the bound: the figures follow, and the bins are those of the command's own edit.
    const box = (await page.locator(".bound .grip").first().boundingBox())!;
    await page.mouse.move(box.x + 9, box.y + 60);
    await page.mouse.down();
    await page.mouse.move(box.x + 60, box.y + 60, { steps: 8 });
    await page.getByText("was").first().waitFor();
    await page.mouse.up();
    await page.getByRole("button", { name: "Undo" }).and(page.locator(":enabled")).waitFor();
    const moved = await figure(page, "information value");
    const cut = Number(await page.getByRole("slider").first().getAttribute("aria-valuenow"));
    const bins = join(folder, "bins.json");
    cli("screen", data, "--binary-response", "risk", "--good", "good", "--bad", "bad", "--bins", bins, "--quiet");
    cli("bins", "edit", bins, "move", "amount", String(amount.cutPoints[0]), String(cut), "--quiet");
    const download = page.waitForEvent("download");
    await page.getByText("Take away").click();
    await page.getByRole("link", { name: "Bins (JSON)" }).click();
    const file = await (await download).path();
    const predictorOf = (text: string) =>
      JSON.parse(text).responses[0].predictors.find((one: { name: string }) => one.name === "amount").bins;
    expect(predictorOf(readFileSync(file, "utf8"))).toEqual(predictorOf(readFileSync(bins, "utf8")));
    await page.getByText("Take away").click();

    await page.locator("body").press("Control+z");
    await expect.poll(() => figure(page, "information value")).toBe(amount.informationValue.toFixed(4));
    await page.locator("body").press("Control+y");
    await expect.poll(() => figure(page, "information value")).toBe(moved);

    // By keyboard alone: split, merge, move a bound, accept and go on.
    await page.locator("body").press("1");
    await page.locator("body").press("s");
    await expect.poll(() => figure(page, "bins")).toBe("3");
    await page.getByRole("slider").first().focus();
    const before = await page.getByRole("slider").first().getAttribute("aria-valuenow");
    await page.keyboard.press("ArrowLeft");
    await expect.poll(() => page.getByRole("slider").first().getAttribute("aria-valuenow")).not.toBe(before);
    await page.locator("body").press("1");
    await page.locator("body").press("2");
    await page.locator("body").press("m");
    await expect.poll(() => figure(page, "bins")).toBe("2");
    // A typed bound, as a German writes it.
    await page.getByLabel("Cut at").fill("1.000,4");
    await page.keyboard.press("Enter");
    await expect.poll(() => figure(page, "bins")).toBe("3");
    await page.getByText(/The counts know no cut at 1000\.4; \d+(\.\d)? is the nearest\./).waitFor();
    await page.locator("body").press("Control+z");
    await expect.poll(() => figure(page, "bins")).toBe("2");
    await page.locator("body").press("a");
    await expect.poll(() => page.locator(".editor h2").innerText()).not.toBe("amount");
    await page.getByTitle("accepted", { exact: true }).waitFor();

    // Levels are grouped by choosing them.
    await page.locator(".predictors").getByRole("option", { name: /^housing/ }).click();
    await page.locator(".editor .chip", { hasText: "rent" }).click();
    await page.getByLabel("Move 1 to").selectOption("new");
    await expect.poll(() => figure(page, "bins")).toBe("3");

    const report = page.context().waitForEvent("page");
    await page.getByText("Take away").click();
    await page.getByRole("link", { name: "Report", exact: true }).click();
    const opened = await report;
    await opened.getByText("Predictor screening").first().waitFor();
    expect(await opened.evaluate(() => self.origin)).toBe("null"); // in a sandbox
    for (const format of ["xlsx", "csv", "json", "python", "sql&dialect=postgresql"]) {
      const answer = await page.request.get(new URL(`/api/sessions/1/runs/3/export?format=${format}`, page.url()).href);
      expect([answer.status(), (await answer.body()).length > 200], format).toEqual([200, true]);
    }
    await page.context().close();
    expect(await program.ended).toBe(0); // with its last window
    expect(faults).toEqual([]);
  });

  it("loses nothing that was accepted, and shows two windows the same", async () => {
    freshData();
    let program = await open(data, "--grace", "60");
    let page = await window(program.address);
    await page.getByRole("gridcell", { name: "below 0 DM" }).first().waitFor();
    await findBins(page);
    await page.locator(".predictors").getByRole("option", { name: /^duration_months/ }).click();
    await expect.poll(() => page.locator(".editor h2").innerText()).toBe("duration_months");
    const bins = Number(await figure(page, "bins"));
    const second = await page.context().newPage();
    await second.goto(new URL("/#1/bins", page.url()).href);
    await second.locator(".predictors").getByRole("option", { name: /^duration_months/ }).click();
    await page.getByRole("button", { name: /^Choose bin 1/ }).click();
    await page.getByRole("button", { name: "Merge", exact: true }).click();
    await expect.poll(() => figure(page, "bins")).toBe(String(bins - 1));
    await expect.poll(() => figure(second, "bins")).toBe(String(bins - 1));
    await page.locator("body").press("a");
    await second.getByTitle("accepted", { exact: true }).waitFor();
    await page.getByLabel("Comment").fill("looks <b>odd</b>");
    await page.keyboard.press("Tab");
    const predictor = await page.locator(".editor h2").innerText();
    const placeNow = async () => (await (await page.request.get(new URL("/api/sessions/1", page.url()).href)).json()).choices.place;
    await expect.poll(placeNow).toEqual({ view: "bins", variable: predictor, predictor });
    await page.reload(); // in the middle of the work
    await page.getByTitle("accepted", { exact: true }).waitFor();
    await expect.poll(() => page.locator(".editor h2").innerText()).toBe(predictor);

    const exited = program.ended;
    program.process.kill("SIGKILL"); // no chance to save anything
    await exited;
    expect(existsSync(`${data}.velmora`)).toBe(true);
    program = await open(`${data}.velmora`);
    page = await window(program.address);
    // The project reopens at the last view.
    await page.getByTitle("accepted", { exact: true }).waitFor();
    await expect.poll(() => page.locator(".editor h2").innerText()).toBe(predictor);
    expect(await page.locator(".message").innerText()).toBe("");
    await page.locator(".predictors").getByRole("option", { name: /^duration_months/ }).click();
    await expect.poll(() => figure(page, "bins")).toBe(String(bins - 1));
    expect(await page.locator(".editor b", { hasText: "odd" }).count()).toBe(0);

    // Another option does not take away what has been accepted: the user asks for a new search, which
    // keeps the bins of accepted predictors.
    const changed = page.getByText("The options have changed.");
    expect(await changed.count()).toBe(0);
    await page.getByLabel("Most bins").fill("2");
    await page.keyboard.press("Tab");
    await changed.waitFor();
    await page.getByTitle("accepted", { exact: true }).waitFor();
    const choices = async () => (await (await page.request.get(new URL("/api/sessions/1", page.url()).href)).json()) as { runs: unknown[]; choices: { screening: object } };
    await expect.poll(async () => (await choices()).choices.screening).toEqual({ "max-bins": 2 });
    expect((await choices()).runs.length).toBe(1);
    await page.getByRole("button", { name: "Search the others again" }).click();
    await expect.poll(async () => (await choices()).runs.length).toBe(2);
    await expect.poll(() => changed.count()).toBe(0);
    await page.locator(".predictors").getByRole("option", { name: /^duration_months/ }).click();
    await expect.poll(() => figure(page, "bins")).toBe(String(bins - 1));
    await page.locator(".predictors").getByRole("option", { name: /^purpose/ }).click();
    await expect.poll(() => figure(page, "bins")).toBe("2");

    // Nor does a single click.
    await page.getByRole("button", { name: "History", exact: true }).click();
    const deletion = page.getByRole("button", { name: "Delete run 1", exact: true });
    const question = page.getByRole("button", { name: "Delete run 1 with its edits and decisions?" });
    await deletion.click();
    await question.waitFor();
    await page.keyboard.press("Tab");
    await deletion.click();
    expect((await choices()).runs.length).toBe(2);
    await question.click();
    await expect.poll(async () => (await choices()).runs.length).toBe(1);
    await expect.poll(() => page.locator("article.run").count()).toBe(1);
  });

  it("screens several outcomes one after the other, each with figures, edits and files of its own", async () => {
    freshData();
    const program = await open(data);
    const page = await window(program.address);
    await page.getByRole("gridcell", { name: "below 0 DM" }).first().waitFor();
    await findBins(page);
    const outcome = page.locator(".predictors").getByLabel("Outcome");
    expect(await outcome.count()).toBe(0);
    await chooseOutcome(page, "amount");
    await expect.poll(() => outcome.inputValue()).toBe("amount");
    await outcome.selectOption("risk");
    await expect.poll(() => outcome.inputValue()).toBe("risk");
    // Neither outcome predicts the other.
    await page.getByRole("searchbox", { name: "Search predictors" }).fill("amount");
    await expect.poll(() => page.getByRole("listbox", { name: "Binned predictors" }).getByRole("option").count()).toBe(0);
    await page.getByRole("searchbox", { name: "Search predictors" }).fill("duration");
    await page.locator(".predictors").getByRole("option", { name: /^duration_months/ }).click();
    const runs = async () => (await (await page.request.get(new URL("/api/sessions/1", page.url()).href)).json()).runs as { run: number; commands: string[]; options: Record<string, string[]> }[];
    const responses = ["--binary-response=risk --good=good --bad=bad", "--continuous-response=amount"];
    const commandOf = async (response: string) => (await runs()).find((run) => run.commands.at(-1)?.includes(response))?.commands ?? [];
    const predictors = (await runs())[0]?.options["predictors"] ?? [];
    expect(predictors.filter((name) => name === "risk" || name === "amount")).toEqual([]);
    await page.getByRole("button", { name: /^Choose bin 1/ }).click();
    await page.getByRole("button", { name: "Merge", exact: true }).click();
    await page.getByRole("button", { name: "Undo" }).and(page.locator(":enabled")).waitFor();
    const ofRisk = await figure(page, "information value");

    await outcome.selectOption("amount");
    await page.locator(".figure", { hasText: "variance explained" }).first().waitFor();
    await expect.poll(() => page.locator(".editor h2").innerText()).toBe("duration_months");
    await page.getByRole("button", { name: "Undo" }).and(page.locator(":disabled")).waitFor();
    const report = JSON.parse(cli("screen", data, "--continuous-response", "amount", "--predictors", ...predictors, "--format", "json"));
    const alone = report.responses[0].predictors.find((one: { name: string }) => one.name === "duration_months");
    expect(await figure(page, "variance explained")).toBe(alone.rSquared.toFixed(4));
    await page.getByText("Take away").click();
    const download = page.waitForEvent("download");
    await page.getByRole("link", { name: "Bins (JSON)" }).click();
    expect(JSON.parse(readFileSync(await (await download).path(), "utf8")).responses.map((one: { name: string }) => one.name)).toEqual(["amount"]);
    // The result as the terminal shows it.
    await page.getByRole("button", { name: "Text to copy" }).click();
    const text = cli("screen", data, "--continuous-response", "amount", "--predictors", ...predictors, "--quiet");
    const lines = text.split("\n").slice(1).join("\n").trim(); // without the name of the file, which differs
    await expect.poll(async () => (await page.locator("dialog.text pre").textContent()) ?? "").toContain(lines);
    await page.getByRole("button", { name: "Close", exact: true }).click();
    await page.getByText("Take away").click();

    // The other outcome keeps its run and its edit, and is not searched again.
    const before = (await runs()).map((run) => run.run);
    await outcome.selectOption("risk");
    await expect.poll(() => figure(page, "information value")).toBe(ofRisk);
    expect((await runs()).map((run) => run.run)).toEqual(before);
    for (const response of responses) expect((await commandOf(response)).length, response).toBe(response.includes("risk") ? 3 : 1);
    await page.reload();
    await expect.poll(() => outcome.count()).toBe(1);
    expect(faults).toEqual([]);
  });

  it("draws the targets of each outcome across the bins of its predictors, and keeps them", async () => {
    freshData();
    const program = await open(data);
    const page = await window(program.address);
    await page.getByRole("gridcell", { name: "below 0 DM" }).first().waitFor();
    await findBins(page);
    const described = async () => (await page.locator(".bins-chart > desc").allTextContents()).join();
    const labels = () => page.locator(".bins-chart .target text").allTextContents();
    const runs = async () => (await (await page.request.get(new URL("/api/sessions/1", page.url()).href)).json()).runs as { run: number; status: string }[];
    const kept = () => (existsSync(`${data}.velmora`) ? (JSON.parse(readFileSync(`${data}.velmora`, "utf8")).choices.targets ?? null) : null);
    expect(await labels()).toEqual([]);
    const rate = page.getByLabel("Target rate");
    await rate.fill("0,5");
    await rate.press("Enter");
    await expect.poll(labels).toEqual(["50\u202f%"]);
    await rate.fill("20 %; 0.22");
    await rate.press("Enter");
    await expect.poll(labels).toEqual(["20\u202f%", "22\u202f%", "50\u202f%"]);
    expect(await described()).toBe("Target lines at 20\u202f%, 22\u202f%, 50\u202f%");
    // Each line is as high on the scale as its value, and no text covers another.
    const places = await page.locator(".bins-chart .target line").evaluateAll((lines) => lines.map((line) => Number(line.getAttribute("y1"))));
    const ground = await page.locator(".bins-chart .ground").getAttribute("y1");
    const perRate = places.map((at, index) => (Number(ground) - at) / ([0.2, 0.22, 0.5][index] ?? 1));
    for (const one of perRate) expect(one).toBeCloseTo(perRate[0] ?? 0, 3);
    const boxes = await page.locator(".bins-chart .target text").evaluateAll((texts) => texts.map((text) => text.getBoundingClientRect().toJSON() as DOMRect));
    boxes.forEach((a, i) => boxes.slice(i + 1).forEach((b) => expect(a.x + a.width <= b.x || a.y >= b.y + b.height || b.y >= a.y + a.height).toBe(true)));
    await page.evaluate(axe);
    for (const scheme of ["light", "dark"] as const) {
      await page.emulateMedia({ colorScheme: scheme });
      const found = await page.evaluate(async () => {
        const result = await (globalThis as unknown as { axe: { run: (where: string) => Promise<{ violations: { id: string }[] }> } }).axe.run(".bins-view");
        return result.violations.map((one) => one.id);
      });
      expect(found, scheme).toEqual([]);
    }
    await rate.fill("5");
    await rate.press("Enter");
    await page.getByText("5 is no target").waitFor();
    await rate.fill("");
    await page.getByRole("button", { name: "Remove the target 22\u202f%" }).click();
    await page.getByRole("button", { name: "Next ›" }).click();
    await expect.poll(described).toBe("Target lines at 20\u202f%, 50\u202f%");

    // An outcome with a mean has its own.
    await chooseOutcome(page, "amount");
    const mean = page.getByLabel("Target mean");
    await mean.fill("2500");
    await mean.press("Enter");
    await expect.poll(described).toBe("Target lines at 2500");
    await expect.poll(kept).toEqual({ risk: [0.2, 0.5], amount: [2500] });
    expect((await runs()).map((run) => run.status)).toEqual(["done", "done"]); // no line is a reason for another search
    await page.reload();
    await expect.poll(described).toBe("Target lines at 2500");
    await page.getByRole("button", { name: "Remove the target 2500" }).click();
    await expect.poll(described).toBe("");
    await page.locator(".predictors").getByLabel("Outcome").selectOption("risk");
    await expect.poll(described).toBe("Target lines at 20\u202f%, 50\u202f%");
    await expect.poll(kept).toEqual({ risk: [0.2, 0.5] });
    expect(faults).toEqual([]);
  });

  it("fetches the cells in view first, and not those that a fast scroll has left behind", async () => {
    freshData();
    const large = join(folder, "large.csv");
    const names = Array.from({ length: 60 }, (_, i) => `x${i}`);
    writeFileSync(large, [names.join(","), ...Array.from({ length: 20000 }, (_, row) => names.map((_, i) => row + i / 100).join(","))].join("\n"));
    const program = await open(large);
    const page = await window(program.address);
    await page.getByRole("gridcell", { name: "0.01", exact: true }).waitFor();
    await page.locator(".variable .name").first().waitFor();
    let fetched = 0;
    let go: () => void = () => undefined;
    const held = new Promise<void>((resolve) => (go = resolve));
    await page.route(/\/grid\?/, async (route) => {
      ++fetched;
      await held;
      await route.continue();
    });
    await page.getByRole("grid").evaluate(async (grid) => {
      for (let i = 0; i < 50; ++i) {
        grid.scrollTop = (grid.scrollHeight * i) / 50;
        await new Promise((resolve) => requestAnimationFrame(resolve));
      }
      grid.scrollTop = grid.scrollHeight;
      grid.scrollLeft = grid.scrollWidth;
    });
    await page.getByRole("columnheader", { name: "x59" }).waitFor();
    expect(fetched).toBeLessThan(5);
    go();
    await page.getByRole("gridcell", { name: "19999.59", exact: true }).waitFor();
    expect(fetched).toBeLessThan(30);
    expect(faults).toEqual([]);
  });

  it("lists any number of binned predictors, reached by keyboard", async () => {
    freshData();
    const count = 1200;
    let seed = 11;
    const random = () => (seed = (seed * 48271) % 2147483647) / 2147483647;
    const names = Array.from({ length: count }, (_, i) => `x${String(i).padStart(4, "0")}`);
    const rows = Array.from({ length: 40 }, (_, i) => [i % 2 ? "yes" : "no", ...names.map(() => Math.round(random() * 9))].join(","));
    const wide = join(folder, "wide.csv");
    writeFileSync(wide, [["y", ...names].join(","), ...rows].join("\n"));
    const program = await open(wide);
    const page = await window(program.address);
    await page.getByText("40 cases, 1\u202f201 variables").waitFor();
    await page.getByRole("button", { name: "Bins", exact: true }).click();
    await chooseOutcome(page, "y");
    await page.getByRole("button", { name: "Find bins" }).click();
    const list = page.getByRole("listbox", { name: "Binned predictors" });
    await list.waitFor();
    const options = list.getByRole("option");
    expect(await options.count()).toBeLessThan(60);
    expect(await options.first().getAttribute("aria-setsize")).toBe(String(count));
    const order = JSON.parse(await (await page.request.get(new URL("/api/sessions/1/runs/1", page.url()).href)).text()).responses[0].predictors.map((one: { name: string }) => one.name) as string[];
    await list.focus();
    await page.keyboard.press("End");
    const last = list.locator(`[aria-selected=true]`);
    await expect.poll(() => last.locator(".name").innerText()).toBe(order.at(-1));
    expect(await list.getAttribute("aria-activedescendant")).toBe(await last.getAttribute("id"));
    await page.keyboard.press("ArrowUp");
    await expect.poll(() => last.locator(".name").innerText()).toBe(order.at(-2));
    await page.keyboard.press("n"); // of the editor
    await expect.poll(() => last.locator(".name").innerText()).toBe(order.at(-1));
    await page.keyboard.press("Home");
    await expect.poll(() => last.locator(".name").innerText()).toBe(order[0]);
    await page.getByRole("searchbox", { name: "Search predictors" }).fill(order[700] ?? "");
    await options.first().click();
    await page.getByRole("searchbox", { name: "Search predictors" }).fill("");
    // It stays in view among all.
    await expect.poll(() => last.locator(".name").innerText()).toBe(order[700]);
    await page.evaluate(axe);
    const found = await page.evaluate(async () => {
      const result = await (globalThis as unknown as { axe: { run: (where: string) => Promise<{ violations: { id: string }[] }> } }).axe.run(".bins-view");
      return result.violations.map((one) => one.id);
    });
    expect(found).toEqual([]);
    expect(faults).toEqual([]);
  });

  it("says that the data have changed since the project was saved, also in a window that comes late", async () => {
    freshData();
    let program = await open(data, "--grace", "60");
    let page = await window(program.address);
    await page.getByRole("gridcell", { name: "below 0 DM" }).first().waitFor();
    await page.keyboard.press("ArrowRight");
    expect(existsSync(`${data}.velmora`)).toBe(false); // looking at data leaves no trace
    await findBins(page);
    const project = () => JSON.parse(readFileSync(`${data}.velmora`, "utf8")).data.sha256 as string;
    await expect.poll(project).toMatch(/^[0-9a-f]{64}$/);
    program.process.kill("SIGKILL");
    await program.ended;
    const lines = readFileSync(data, "utf8").trimEnd().split("\n");
    writeFileSync(data, [...lines, lines[1]].join("\n"));
    program = await open(data, "--grace", "60");
    const headers = { cookie: await signIn(program), host: `127.0.0.1:${program.port}` };
    await expect.poll(async () => JSON.parse((await ask(program.port, "/api/sessions/1", headers)).text).dataChanged).toBe(true);
    const context = await browser.newContext();
    const [name, value] = headers.cookie.split("=") as [string, string];
    await context.addCookies([{ name, value, domain: "127.0.0.1", path: "/" }]);
    page = await context.newPage();
    await page.goto(`http://127.0.0.1:${program.port}/`);
    await page.getByText("The data file has changed since the project was saved.").waitFor();
    await page.locator("header .mark", { hasText: "changed" }).waitFor();
  });

  it("goes anywhere by a few letters, and compares two runs", async () => {
    freshData();
    const program = await open(data);
    const page = await window(program.address);
    await page.getByRole("gridcell", { name: "below 0 DM" }).first().waitFor();
    const go = async (text: string) => {
      await page.keyboard.press("Control+p");
      await page.getByRole("combobox", { name: "Go to" }).fill(text);
      await page.keyboard.press("Enter");
    };
    await go("forwork"); // foreign_worker, which has no bins yet
    await page.getByRole("columnheader", { name: "foreign_worker" }).waitFor();
    await go("bins");
    await chooseOutcome(page, "risk");
    await page.getByRole("button", { name: "Find bins" }).click();
    await page.locator(".bins-chart").waitFor();
    await go("durmo");
    await expect.poll(() => page.locator(".editor h2").innerText()).toBe("duration_months");
    await go("rank pre");
    await page.getByRole("table").waitFor();
    await page.keyboard.press("Control+k");
    await page.getByRole("option", { name: "Open another file" }).waitFor();
    await page.evaluate(axe);
    const found = await page.evaluate(async () => {
      const result = await (globalThis as unknown as { axe: { run: (where: string) => Promise<{ violations: { id: string }[] }> } }).axe.run(".quick-open");
      return result.violations.map((one) => one.id);
    });
    expect(found).toEqual([]);
    await page.keyboard.press("Escape");

    // A second ranking, beside the first, which is shown until the second is there.
    await page.getByLabel("keep in the history").check();
    let release = () => {};
    const held = new Promise<void>((resolve) => (release = resolve));
    await page.route(/\/api\/sessions\/1\/runs\/3$/, async (route) => (await held, await route.continue()));
    await page.getByLabel("How many").fill("3");
    await page.keyboard.press("Tab");
    await page.getByLabel("keep in the history").and(page.locator(":not(:checked)")).waitFor();
    await page.locator(".result[aria-busy=true] tbody tr").first().waitFor();
    release();
    await page.locator(".result[aria-busy=false] tbody tr").first().waitFor();
    await page.keyboard.press("Alt+4");
    await page.getByLabel("Compare Ranking 2").check();
    await page.getByText("Choose another ranking to compare it with Ranking 2.").waitFor();
    await page.getByLabel("Compare Ranking 3").check();
    await page.getByRole("row", { name: "cuts – 3" }).waitFor();
    const compared = page.getByRole("region", { name: "Predictors in both runs" });
    const figures = (cuts: string[]) => {
      const report = JSON.parse(cli("feature-selection", data, "--dependents", "risk", ...cuts, "--format", "json"));
      return report.dependents[0].predictors.find((one: { name: string }) => one.name === "duration_months").effect as number;
    };
    const [before, after] = [figures([]), figures(["--cuts", "3"])];
    const cells = await compared.getByRole("row", { name: /^duration_months/ }).getByRole("cell").allInnerTexts();
    expect(cells.slice(3)).toEqual([before.toFixed(3), after.toFixed(3), (after - before).toFixed(3)]);
    expect(faults).toEqual([]);
  });

  it("opens files that are dropped, and files that were opened before", async () => {
    freshData();
    const first = await open(data);
    await signIn(first);
    const elsewhere = mkdtempSync(join(tmpdir(), "velmora-elsewhere-"));
    writeFileSync(join(elsewhere, "houses.csv"), "price,size\n1,2\n3,4\n");
    const program = await open(elsewhere);
    const page = await window(program.address);
    const drop = async (name: string, text: string) => {
      const file = await page.evaluateHandle(([title, content]) => {
        const transfer = new DataTransfer();
        transfer.items.add(new File([content ?? ""], title ?? ""));
        return transfer;
      }, [name, text]);
      await page.dispatchEvent("body", "drop", { dataTransfer: file });
    };
    await page.getByRole("button", { name: "german_credit.csv" }).waitFor();
    await drop("houses.csv", "price,size\n1,2\n3,5,6\n"); // another size
    await page.getByText("There is no such file houses.csv in the folders that were opened").waitFor();
    // The snapshot comes late: that the file has been read is heard before.
    await page.route(/\/api\/sessions\/\d+$/, async (route) => {
      const response = await route.fetch();
      await new Promise((resolve) => setTimeout(resolve, 1000));
      await route.fulfill({ response });
    });
    await drop("houses.csv", "price,size\n1,2\n3,4\n");
    await page.getByText("2 cases, 2 variables").waitFor();
    // The folder of the other file is not open, but the file has been named before.
    await page.keyboard.press("Control+o");
    await page.getByRole("button", { name: "german_credit.csv" }).click();
    await page.getByRole("gridcell", { name: "below 0 DM" }).first().waitFor();
    rmSync(elsewhere, { recursive: true });
  });

  it("shows the dialogs of the analyses, every control working", async () => {
    freshData();
    const program = await open(data);
    const page = await window(program.address);
    await page.getByRole("gridcell", { name: "below 0 DM" }).first().waitFor();
    const results = () => page.frameLocator("iframe").locator("body");
    const question = page.locator("dialog.question");
    const press = (name: string | RegExp) => page.locator(".window").getByRole("button", { name }).click();
    const choose = async (list: string, names: string[]) => {
      await question.getByRole("listbox", { name: list }).selectOption(names);
    };
    await page.keyboard.press("Alt+5");
    await page.getByRole("button", { name: "Feature selection" }).click();
    await page.locator(".window").waitFor();
    await press("OK"); // without variables
    await question.getByRole("button", { name: "Cancel" }).click();
    await expect.poll(() => question.count()).toBe(0);
    await press("Variables");
    await choose("Dependent; categorical:", ["risk"]);
    await choose("Predictors; continuous:", ["amount", "age"]);
    await choose("Predictors; categorical:", ["housing", "purpose"]);
    await question.getByRole("button", { name: "OK" }).click();
    await expect.poll(() => page.locator(".control[data-kind=list]").allInnerTexts()).toEqual(["none", "1", "6 14", "5 16", "none"]);
    await page.getByRole("textbox", { name: "Number of cuts for continuous predictors:" }).fill("5");
    await page.getByRole("tab", { name: "Advanced" }).click();
    await page.getByRole("radio", { name: "Chi-square" }).click();
    await press("OK");
    await page.getByRole("button", { name: /Histogram of importance/ }).waitFor();
    await press(/Summary: Best/);
    await results().getByText("purpose").first().waitFor();
    const words = ["--dependents", "risk", "--predictors", "amount", "age", "housing", "purpose", "--cuts", "5", "--chi-square", "--classic"];
    const report = JSON.parse(cli("feature-selection", data, ...words, "--format", "json"));
    const shown = (await results().textContent()) ?? "";
    for (const one of report.dependents[0].predictors as { name: string; statistic: number }[])
      expect(shown, one.name).toContain(`${one.name}${one.statistic.toFixed(4)}`);
    await page.getByRole("button", { name: "End the dialogs" }).click();

    await page.getByRole("button", { name: "Predictor screening" }).click();
    await press("Variables");
    await choose("Binary dep.:", ["risk"]);
    await choose("Continuous predictors:", ["amount"]);
    await question.getByRole("button", { name: "OK" }).click();
    await expect.poll(() => question.count()).toBe(0);
    await page.getByRole("combobox", { name: "Good code:" }).fill("good");
    const taken = page.waitForResponse((response) => response.request().postData()?.includes('"bad"') ?? false);
    await page.getByRole("combobox", { name: "Bad code:" }).fill("bad");
    await taken;
    await page.reload(); // the dialogs stay open
    await page.locator(".window").waitFor();
    await press("OK");
    await press(/Distribution/);
    await press(/Crosstabulation/);
    await results().getByText("amount").first().waitFor();
    await page.getByText("3 outputs").waitFor();
    await page.getByRole("tab", { name: "Save" }).click();
    await press("Save as rules");
    await question.getByRole("textbox").fill("../mine");
    await question.getByRole("button", { name: "OK" }).click();
    await expect.poll(() => existsSync(join(folder, "mine.txt"))).toBe(true);
    expect(existsSync(join(folder, "..", "mine.txt"))).toBe(false);
    await press("Cancel"); // back to the choices
    await page.getByRole("combobox", { name: "Good code:" }).waitFor();
    await page.keyboard.press("Escape");
    await press("Cancel");
    await page.getByRole("heading", { name: "The dialogs of the analyses" }).waitFor();
    expect(faults).toEqual([]);
  });

  it("shows names with markup as they are", async () => {
    freshData();
    const nasty = join(folder, "<img src=x onerror=alert(1)>.csv");
    const rows = Array.from({ length: 200 }, (_, i) => `${i % 3 ? "yes" : "<script>alert(2)</script>"},${i % 7},"${i % 2 ? "<b>x</b>" : "&amp;"}"`);
    writeFileSync(nasty, ['"<script>alert(3)</script>","a""><img src=x onerror=alert(4)>","&lt;"', ...rows].join("\n"));
    const program = await open(nasty);
    const page = await window(program.address);
    let alerts = 0;
    page.on("dialog", (dialog) => (++alerts, void dialog.dismiss()));
    await page.getByRole("gridcell", { name: "<b>x</b>" }).first().waitFor();
    await page.getByRole("button", { name: "Ranking", exact: true }).click();
    await chooseOutcome(page, "<script");
    await page.getByRole("button", { name: "Rank predictors" }).click();
    await page.getByRole("table").waitFor();
    await page.getByRole("button", { name: "Find their bins" }).click();
    await page.locator(".bins-chart, .failed").first().waitFor();
    await page.getByRole("button", { name: "History", exact: true }).click();
    await page.locator(".history .run").first().waitFor();
    expect(await page.locator("img, #app script, #app b:text('x')").count()).toBe(0);
    expect(alerts).toBe(0);
    expect(faults).toEqual([]);
  });

  it("is usable with a screen reader, in light and dark", async () => {
    freshData();
    const program = await open(data);
    const page = await window(program.address);
    await page.getByRole("gridcell", { name: "below 0 DM" }).first().waitFor();
    await findBins(page);
    await page.getByRole("button", { name: "Ranking", exact: true }).click();
    await page.getByRole("button", { name: "Rank predictors" }).click();
    await page.getByRole("table").waitFor();
    expect(await page.evaluate(() => document.cookie)).toBe(""); // no script reads the cookie
    for (const scheme of ["light", "dark"] as const) {
      await page.emulateMedia({ colorScheme: scheme });
      for (const view of ["Data", "Ranking", "Bins", "History", "Dialogs"]) {
        await page.getByRole("button", { name: view, exact: true }).click();
        if (view === "Bins") await page.locator(".bins-chart").waitFor();
        if (view === "Dialogs" && scheme === "light") await page.getByRole("button", { name: "Predictor screening" }).click();
        if (view === "Dialogs") await page.locator(".window").waitFor();
        // Evaluated by the browser, since the page admits no foreign script.
        await page.evaluate(axe);
        const found = await page.evaluate(async (options) => {
          const result = await (globalThis as unknown as { axe: { run: (options: object) => Promise<{ violations: { id: string; nodes: { html: string }[] }[] }> } }).axe.run(options);
          return result.violations.map((one) => `${one.id}: ${one.nodes[0]?.html.slice(0, 160)}`);
        }, scheme === "dark" ? { runOnly: ["color-contrast"] } : {}); // all else is the same in the dark
        expect(found, `${view}, ${scheme}`).toEqual([]);
      }
    }
    program.process.kill("SIGINT");
    await page.getByText("The workbench has ended.").waitFor();
    expect(await program.ended).toBe(0);
  });
});
