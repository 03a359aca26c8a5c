// The fleet console's page: talks to the qznds serve JSON API only.
"use strict";

const state = {
  token: sessionStorage.getItem("qznds-token") || "",
  catalogue: [],
  devices: [],
  selected: new Set(),
  open: null,     // name of the camera shown in the settings panel
  values: {},     // its settings as last read
  timer: null,
};

const $ = (id) => document.getElementById(id);

function element(tag, text, className) {
  const e = document.createElement(tag);
  if (text !== undefined && text !== null) e.textContent = String(text);
  if (className) e.className = className;
  return e;
}

function showMessage(text, info) {
  const box = $("message");
  box.textContent = text;
  box.className = info ? "info" : "";
  box.hidden = !text;
}

// One API call; throws an Error with the server's one-line message.
async function api(method, path, body) {
  const headers = {};
  if (state.token) headers.Authorization = "Bearer " + state.token;
  if (body !== undefined) headers["Content-Type"] = "application/json";
  const response = await fetch(path, {method, headers, body: body === undefined ? undefined : JSON.stringify(body)});
  let data = null;
  try {
    data = await response.json();
  } catch (e) {
    data = null;
  }
  if (response.status === 401) {
    $("token-form").hidden = false;
    throw new Error("this console needs its token");
  }
  if (!response.ok) {
    const message = data && data.error ? data.error.message : "HTTP " + response.status;
    throw new Error(message);
  }
  return data;
}

// ---- the device list ---------------------------------------------------------------

function stateText(d) {
  if (d.state === "down") return "down (" + d.kind + ")";
  return d.state;
}

function renderDevices() {
  const body = document.querySelector("#devices tbody");
  body.replaceChildren();
  for (const d of state.devices) {
    const row = element("tr");
    row.dataset.name = d.name;
    if (d.name === state.open) row.classList.add("open");
    const pick = element("input");
    pick.type = "checkbox";
    pick.checked = state.selected.has(d.name);
    pick.addEventListener("click", (event) => {
      event.stopPropagation();
      if (pick.checked) state.selected.add(d.name);
      else state.selected.delete(d.name);
    });
    const pickCell = element("td");
    pickCell.append(pick);
    const stateCell = element("td", stateText(d), "state-" + d.state);
    if (d.message) stateCell.title = d.message;
    const drift = d.drift === undefined ? "-" : d.drift;
    const driftCell = element("td", drift, d.drift > 0 ? "drift" : "");
    if (d.drift_settings && d.drift_settings.length) driftCell.title = d.drift_settings.join(", ");
    row.append(pickCell, element("td", d.name), element("td", d.address), stateCell,
      element("td", d.serial_number ?? "-"), element("td", d.framerate ?? "-"), driftCell);
    row.addEventListener("click", () => openCamera(d.name));
    body.append(row);
  }
}

async function loadDevices() {
  try {
    const data = await api("GET", "/api/devices");
    state.devices = data.devices;
    const up = data.devices.filter((d) => d.state === "reachable").length;
    $("status").textContent = up + " of " + data.devices.length + " reachable" +
      (data.refreshing ? ", refreshing" : "") + (data.document_set ? ", drift against the wanted document" : "");
    renderDevices();
  } catch (e) {
    showMessage(e.message);
  }
}

function scheduleRefresh() {
  clearInterval(state.timer);
  if ($("auto-refresh").checked) state.timer = setInterval(loadDevices, 3000);
}

// ---- one camera's settings ----------------------------------------------------------

function entryOf(name) {
  return state.catalogue.find((e) => e.name === name);
}

function rangeText(e) {
  let text = e.form;
  if (e.device_accepts) text += " (device accepts " + e.device_accepts + ")";
  if (!e.writable) text += " (read only)";
  return text;
}

function inputFor(e, value) {
  let input;
  if (e.type === "boolean") {
    input = element("input");
    input.type = "checkbox";
    input.checked = value === true;
  } else if (e.type === "integer") {
    input = element("input");
    input.type = "number";
    if (e.min !== undefined) input.min = e.min;
    if (e.max !== undefined) input.max = e.max;
    input.value = value ?? "";
  } else if (e.type === "text") {
    input = element("input");
    input.type = e.secret ? "password" : "text";
    input.value = e.secret ? "" : (value ?? "");
    if (e.secret) input.placeholder = "********";
    input.autocomplete = "off";
  } else {
    input = element("textarea");
    input.rows = 2;
    input.value = e.secret ? "" : (value === undefined ? "" : JSON.stringify(value));
    if (e.secret) input.placeholder = "********";
  }
  input.name = e.name;
  input.id = "setting-" + e.name;
  input.disabled = !e.writable;
  return input;
}

// The value an input holds, or undefined when it was left as it was.
function valueOf(e, input) {
  if (e.type === "boolean") return input.checked;
  if (input.value === "" && (e.secret || state.values[e.name] === undefined)) return undefined;
  if (e.type === "integer") {
    const n = Number(input.value);
    if (!Number.isInteger(n)) throw new Error(e.name + ": \"" + input.value + "\" is not a whole number");
    return n;
  }
  if (e.type === "text") return input.value;
  try {
    return JSON.parse(input.value);
  } catch (err) {
    throw new Error(e.name + ": not JSON (" + err.message + ")");
  }
}

function changedSettings() {
  const changes = {};
  for (const e of state.catalogue) {
    const input = document.getElementById("setting-" + e.name);
    if (!input || input.disabled) continue;
    const value = valueOf(e, input);
    if (value === undefined) continue;
    if (!e.secret && JSON.stringify(value) === JSON.stringify(state.values[e.name])) continue;
    changes[e.name] = value;
  }
  return changes;
}

function renderSettings(doc) {
  const form = $("camera-settings");
  form.replaceChildren();
  let family = null;
  let group = null;
  for (const e of state.catalogue) {
    if (e.family !== family) {
      family = e.family;
      group = element("fieldset");
      group.append(element("legend", family));
      form.append(group);
    }
    const row = element("div", null, "setting");
    row.id = "row-" + e.name;
    const label = element("label", e.name);
    label.htmlFor = "setting-" + e.name;
    label.title = e.help;
    const input = inputFor(e, doc.settings[e.name]);
    input.addEventListener("input", () => row.classList.add("changed"));
    row.append(label, input, element("span", rangeText(e), "hint"));
    group.append(row);
  }
}

async function openCamera(name) {
  state.open = name;
  renderDevices();
  $("camera").hidden = false;
  $("camera-title").textContent = name;
  $("camera-report").replaceChildren(element("p", "reading the configuration...", "hint"));
  $("camera-settings").replaceChildren();
  try {
    const doc = await api("GET", "/api/devices/" + encodeURIComponent(name) + "/config");
    if (state.open !== name) return;
    state.values = doc.settings;
    renderSettings(doc);
    $("camera-report").replaceChildren(element("p", "serial number " + (doc.device.serial_number ?? "-"), "hint"));
  } catch (e) {
    $("camera-report").replaceChildren(element("p", e.message, "outcome-failed"));
  }
}

function outcomeText(s) {
  let text = s.setting + ": " + s.status.replace("_", " ");
  if (s.status === "changed" || s.status === "would_change") text += " -> " + JSON.stringify(s.after);
  if (s.status === "refused") text += " (code " + s.code + ")";
  if (s.status === "failed") text += " (" + s.kind + ")";
  if (s.message && (s.status === "refused" || s.status === "failed")) text += ": " + s.message;
  return text;
}

function reportList(report) {
  const list = element("ul");
  for (const s of (report && report.settings) || []) list.append(element("li", outcomeText(s), "outcome-" + s.status));
  return list;
}

async function saveCamera() {
  const name = state.open;
  let changes;
  try {
    changes = changedSettings();
  } catch (e) {
    showMessage(e.message);
    return;
  }
  if (Object.keys(changes).length === 0) {
    showMessage("nothing changed", true);
    return;
  }
  showMessage("");
  try {
    const out = await api("POST", "/api/devices/" + encodeURIComponent(name) + "/settings", {settings: changes});
    const box = $("camera-report");
    box.replaceChildren(element("p", out.ok ? "saved" : "not all saved: " + out.error.message,
      out.ok ? "outcome-ok" : "outcome-failed"), reportList(out.report));
    for (const s of (out.report && out.report.settings) || []) {
      if (s.status === "changed" && !entryOf(s.setting).secret) state.values[s.setting] = s.after;
    }
    document.querySelectorAll(".setting.changed").forEach((row) => row.classList.remove("changed"));
    loadDevices();
  } catch (e) {
    showMessage(e.message);
  }
}

async function exportCamera() {
  const name = state.open;
  try {
    const doc = await api("GET", "/api/devices/" + encodeURIComponent(name) + "/config");
    const link = element("a");
    link.href = URL.createObjectURL(new Blob([JSON.stringify(doc, null, 2) + "\n"], {type: "application/json"}));
    link.download = name + ".json";
    document.body.append(link);
    link.click();
    link.remove();
    setTimeout(() => URL.revokeObjectURL(link.href), 1000);
  } catch (e) {
    showMessage(e.message);
  }
}

function askReboot() {
  $("reboot-name").textContent = state.open;
  $("reboot-dialog").showModal();
}

async function reboot() {
  const name = state.open;
  try {
    const out = await api("POST", "/api/devices/" + encodeURIComponent(name) + "/reboot", {confirm: true});
    if (out.ok) showMessage("reboot requested on " + name, true);
    else showMessage(name + ": " + out.error.message);
    loadDevices();
  } catch (e) {
    showMessage(e.message);
  }
}

// ---- applying to several cameras ----------------------------------------------------

function applyMode() {
  return document.querySelector("input[name=apply-mode]:checked").value;
}

function documentFromPage() {
  if (applyMode() === "single") {
    const name = $("single-setting").value;
    const text = $("single-value").value.trim();
    if (!text) throw new Error("give a value for " + name);
    let value;
    try {
      value = JSON.parse(text);
    } catch (e) {
      value = text;  // a plain text
    }
    return {settings: {[name]: value}};
  }
  const text = $("document-text").value.trim();
  if (!text) throw new Error("paste a document or choose a file");
  try {
    return JSON.parse(text);
  } catch (e) {
    throw new Error("the document is not JSON: " + e.message);
  }
}

function renderJob(job) {
  $("job").hidden = false;
  $("job-id").textContent = job.id + (job.dry_run ? " (dry run)" : "");
  $("job-progress").max = job.total;
  $("job-progress").value = job.done;
  $("job-counts").textContent = job.done + "/" + job.total + " done, " + job.failed + " failed" +
    (job.finished ? "" : ", working...");
  const box = $("job-devices");
  box.replaceChildren();
  for (const d of job.devices) {
    const item = element("div", null, "job-device");
    item.dataset.name = d.name;
    let head = d.name + ": " + d.status;
    if (d.error) head += " - " + d.error.kind + ": " + d.error.message;
    item.append(element("strong", head, "outcome-" + d.status));
    const report = d.result ? d.result.report : null;
    if (report) item.append(reportList(report));
    box.append(item);
  }
}

async function followJob(id) {
  for (;;) {
    const job = await api("GET", "/api/jobs/" + id);
    renderJob(job);
    if (job.finished) break;
    await new Promise((resolve) => setTimeout(resolve, 500));
  }
  loadDevices();
}

async function applySelected() {
  showMessage("");
  const devices = [...state.selected];
  if (devices.length === 0) {
    showMessage("select one or more cameras first");
    return;
  }
  try {
    const documentJson = documentFromPage();
    const out = await api("POST", "/api/apply", {devices, document: documentJson, dry_run: $("dry-run").checked});
    await followJob(out.job);
  } catch (e) {
    showMessage(e.message);
  }
}

async function setWanted() {
  try {
    await api("PUT", "/api/document", documentFromPage());
    showMessage("wanted document set: drift is counted at the next refresh", true);
  } catch (e) {
    showMessage(e.message);
  }
}

// ---- start ---------------------------------------------------------------------------

async function start() {
  try {
    const data = await api("GET", "/api/catalogue");
    state.catalogue = data.settings;
    const pick = $("single-setting");
    pick.replaceChildren();
    for (const e of state.catalogue.filter((x) => x.writable && !x.secret)) {
      const option = element("option", e.name);
      option.value = e.name;
      pick.append(option);
    }
    pick.value = "framerate";
    $("single-form").textContent = rangeText(entryOf(pick.value));
    $("token-form").hidden = true;
    showMessage("");
    await loadDevices();
    scheduleRefresh();
  } catch (e) {
    showMessage(e.message);
  }
}

document.addEventListener("DOMContentLoaded", () => {
  $("token-form").addEventListener("submit", (event) => {
    event.preventDefault();
    state.token = $("token").value.trim();
    sessionStorage.setItem("qznds-token", state.token);
    start();
  });
  $("refresh").addEventListener("click", async () => {
    try {
      await api("POST", "/api/refresh", {});
      setTimeout(loadDevices, 500);
    } catch (e) {
      showMessage(e.message);
    }
  });
  $("auto-refresh").addEventListener("change", scheduleRefresh);
  $("select-all").addEventListener("change", (event) => {
    state.selected = new Set(event.target.checked ? state.devices.map((d) => d.name) : []);
    renderDevices();
  });
  $("single-setting").addEventListener("change", (event) => {
    $("single-form").textContent = rangeText(entryOf(event.target.value));
  });
  document.querySelectorAll("input[name=apply-mode]").forEach((radio) => radio.addEventListener("change", () => {
    $("single-change").hidden = applyMode() !== "single";
    $("document-change").hidden = applyMode() !== "document";
  }));
  $("document-file").addEventListener("change", async (event) => {
    const file = event.target.files[0];
    if (file) $("document-text").value = await file.text();
  });
  $("set-wanted").addEventListener("click", setWanted);
  $("apply").addEventListener("click", applySelected);
  $("camera-save").addEventListener("click", saveCamera);
  $("camera-export").addEventListener("click", exportCamera);
  $("camera-reboot").addEventListener("click", askReboot);
  $("reboot-dialog").addEventListener("close", () => {
    if ($("reboot-dialog").returnValue === "reboot") reboot();
  });
  $("camera-close").addEventListener("click", () => {
    state.open = null;
    $("camera").hidden = true;
    renderDevices();
  });
  start();
});
