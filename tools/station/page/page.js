"use strict";

const $ = (id) => document.getElementById(id);
const shapes = {
  passed: "M2 12a10 10 0 1 0 20 0a10 10 0 1 0-20 0M7 12.5l3.5 3.5l6.5-7.5",
  failed: "M8 2h8l6 6v8l-6 6h-8l-6-6v-8zM8.5 8.5l7 7M15.5 8.5l-7 7",
  none: "M12 2.5l10 18h-20zM12 9v5.5M12 17.6v.1",
};
const pageSize = 20; // rows of the history
let texts = {};
let shown = 0; // the number of the run in large letters
let oldest = null; // the number of the last row of the history

const text = (key) => texts[key] ?? key;
const get = async (path) => {
  const answer = await fetch(path);
  const content = await answer.json();
  if (!answer.ok) throw new Error(content.error);
  return content;
};

/** An element with texts or elements in it. Text of devices is never markup. */
function element(name, attributes, ...children) {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
  made.append(...children);
  return made;
}

const local = (time) => new Date(time).toLocaleString(undefined, { dateStyle: "short", timeStyle: "medium" });
const plain = (value) => (typeof value === "string" ? value : JSON.stringify(value));

/** "97 %" with a bar. */
function share(part, whole) {
  const percent = whole === 0 ? 0 : (100 * part) / whole;
  const space = "http://www.w3.org/2000/svg";
  const bar = document.createElementNS(space, "svg");
  bar.setAttribute("viewBox", "0 0 100 10");
  bar.setAttribute("preserveAspectRatio", "none");
  bar.setAttribute("aria-hidden", "true");
  const fill = document.createElementNS(space, "rect");
  fill.setAttribute("width", percent.toFixed(1));
  fill.setAttribute("height", "10");
  bar.append(fill);
  return element("td", {}, bar, `${percent.toFixed(percent < 10 ? 1 : 0)} %`);
}

async function showVerdict(run) {
  if (run.run !== null && run.run < shown) return;
  shown = run.run;
  $("current").className = `verdict ${run.verdict}`;
  $("shape").firstElementChild.setAttribute("d", shapes[run.verdict]);
  $("word").textContent = text(`word_${run.verdict}`);
  $("device").textContent = [run.id, run.part_number, local(run.time)].filter(Boolean).join(" · ");
  document.title = `${text(`word_${run.verdict}`)} ${run.id}`;
  $("failures").hidden = run.verdict === "passed" || !run.run;
  if ($("failures").hidden) return;
  const details = await get(`/v1/runs/${run.run}`);
  if (shown !== run.run) return;
  $("report").href = `/runs/${run.run}`;
  $("failure-list").replaceChildren(...details.to_do.map((failure) => {
    const parts = failure.rule ? [element("strong", {}, failure.rule)] : [];
    if ("expected" in failure) {
      parts.push(`${text("expected")}: ${plain(failure.expected)} · ${text("found")}: ${plain(failure.actual)}`);
    } else if (details.reason) {
      parts.push(details.reason.description);
    }
    for (const remark of failure.remarks) parts.push(element("div", {}, remark));
    if (failure.advice) parts.push(element("div", {}, `${text("to_do")} ${failure.advice}`));
    return element("li", {}, ...parts);
  }));
}

function row(run) {
  return element("tr", {},
    element("td", { class: "number" }, element("a", { href: `/runs/${run.run}` }, String(run.run))),
    element("td", {}, local(run.time)), element("td", {}, run.id), element("td", {}, run.part_number),
    element("td", {}, element("span", { class: `mark ${run.verdict}` }, text(run.verdict))),
    element("td", {}, run.rules.join(", ")));
}

/** Fills the history; with `before`, adds older runs. */
async function search(before) {
  const query = new URLSearchParams(new FormData($("search")));
  query.set("limit", String(pageSize));
  if (before) query.set("before", before);
  const found = await get(`/v1/runs?${query}`);
  if (!before) $("runs").replaceChildren();
  $("runs").append(...found.runs.map(row));
  $("total").textContent = `${text("total")} ${found.total}`;
  oldest = found.runs.at(-1)?.run ?? null;
  $("older").hidden = found.runs.length < pageSize;
}

/** Runs by key, in the order of the first one. */
function sums(rows, keyOf) {
  const counts = new Map();
  for (const each of rows) counts.set(keyOf(each), (counts.get(keyOf(each)) ?? 0) + each.runs);
  return counts;
}

async function summarize() {
  const from = new Date(Date.now() - Number($("period").value) * 3600e3).toISOString();
  const summary = await get(`/v1/summary?from=${from}`);
  const devices = sums(summary.hours, (each) => each.part_number);
  $("pareto").replaceChildren(...summary.failures.slice(0, 30).map((each) => {
    const all = devices.get(each.part_number) ?? each.runs;
    const isRules = all >= 5 && each.runs / all >= 0.9;
    return element("tr", {}, element("td", {}, each.rule), element("td", {}, each.part_number),
      element("td", { class: "number" }, `${each.runs} / ${all}`), share(each.runs, all),
      element("td", {}, text(isRules ? "cause_rules" : "cause_device")));
  }));
  if (summary.failures.length === 0) {
    $("pareto").append(element("tr", {}, element("td", { colspan: "5" }, text("no_failures"))));
  }
  const byHour = sums(summary.hours, (each) => each.hour);
  const byVerdict = sums(summary.hours, (each) => each.hour + each.verdict);
  $("trend").replaceChildren(...[...byHour].map(([hour, all]) => {
    const count = (verdict) => byVerdict.get(hour + verdict) ?? 0;
    return element("tr", {}, element("td", {}, local(hour)),
      ...["passed", "failed", "none"].map((verdict) => element("td", { class: "number" }, String(count(verdict)))),
      share(count("passed"), all));
  }));
}

function showRules(rules) {
  $("rejection").hidden = rules.rejected === null;
  if (rules.rejected) $("rejection").textContent = `${text("rejected")} ${rules.rejected.error}`;
  const versions = [rules.library, ...rules.rules].map((document) => document.version ?? document.path);
  const signatures = rules.signatures === "verified" ? "" : ` · ${text("unverified")}`;
  $("rules").textContent = `${text("documents")} ${versions.join(" · ")}${signatures} · kernel ${rules.kernel}`;
}

/** Calls a function at once, and at most once per interval after that. */
function seldom(call, interval) {
  let isDue = false;
  let waits = false;
  return () => {
    if (waits) return void (isDue = true);
    waits = true;
    call();
    setTimeout(() => {
      waits = false;
      if (isDue) {
        isDue = false;
        call();
      }
    }, interval);
  };
}

const report = (call) => (...given) => call(...given).catch((error) => { $("connection").textContent = error.message; });
const refreshHistory = seldom(report(() => search()), 1000);
const refreshSummary = seldom(report(summarize), 10000);

async function refreshAll() {
  shown = 0; // the database may be another one
  showRules(await get("/v1/rules"));
  const [newest] = (await get("/v1/runs?limit=1")).runs;
  if (newest) await showVerdict(newest);
  await search();
  await summarize();
}

async function start() {
  texts = await get("/texts.json");
  document.documentElement.lang = texts.language ?? "en";
  for (const each of document.querySelectorAll("[data-text]")) each.textContent = text(each.dataset.text);
  $("search").addEventListener("submit", (event) => {
    event.preventDefault();
    report(search)();
  });
  $("older").addEventListener("click", () => report(search)(oldest));
  $("period").addEventListener("change", report(summarize));
  const events = new EventSource("/v1/events");
  events.addEventListener("open", () => {
    $("connection").textContent = text("live");
    report(refreshAll)();
  });
  events.addEventListener("error", () => { $("connection").textContent = text("offline"); });
  events.addEventListener("run", (event) => {
    report(showVerdict)(JSON.parse(event.data));
    refreshHistory();
    refreshSummary();
  });
  events.addEventListener("rules", (event) => showRules(JSON.parse(event.data)));
}

report(start)();
