// The web page of invoice-extract serve: one HTML document with its style and
// script inside, nothing fetched from elsewhere. It sends the chosen file to
// /v1/inspect, shows the verdict, the explanation and what the file carries,
// and for an accepted file fetches the XML from /v1/extract to show it and
// offer it for download.
#include "serve.h"

namespace tool {

const char* Serve_Page() {
  return R"PAGE(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>invoice-extract</title>
<style>
:root { color-scheme: light dark; --accent: #1d5fbf; --good: #17772f; --bad: #a8321d; --line: #8884; }
* { box-sizing: border-box; }
body { font: 16px/1.5 system-ui, sans-serif; margin: 0 auto; max-width: 52rem; padding: 1rem; }
h1 { font-size: 1.4rem; margin: 0 0 .25rem; }
p.lead { margin: 0 0 1rem; }
#drop { display: block; border: 2px dashed var(--line); border-radius: .5rem; padding: 1.25rem; text-align: center; }
#drop.over { border-color: var(--accent); background: #1d5fbf14; }
#drop:focus-within { outline: 3px solid var(--accent); outline-offset: 2px; }
input[type=file] { max-width: 100%; margin-top: .5rem; font-size: 1rem; }
.options { display: flex; flex-wrap: wrap; gap: .75rem 1.5rem; margin: .75rem 0; align-items: center; }
.options input[type=password] { font-size: 1rem; padding: .25rem; max-width: 14rem; }
button { font-size: 1rem; padding: .45rem .9rem; border-radius: .35rem; border: 1px solid var(--accent);
  background: var(--accent); color: #fff; cursor: pointer; }
button:focus-visible { outline: 3px solid #e0a100; outline-offset: 2px; }
#verdict { font-size: 1.2rem; font-weight: 600; margin: 1rem 0 .25rem; }
#verdict.good { color: var(--good); } #verdict.bad { color: var(--bad); }
table { border-collapse: collapse; width: 100%; margin: .5rem 0; }
th, td { text-align: left; vertical-align: top; padding: .3rem .4rem; border-bottom: 1px solid var(--line);
  overflow-wrap: anywhere; }
th { width: 34%; font-weight: 600; }
pre { overflow: auto; max-height: 60vh; padding: .75rem; border: 1px solid var(--line); border-radius: .35rem;
  font-size: .85rem; white-space: pre-wrap; overflow-wrap: anywhere; }
[hidden] { display: none !important; }
</style>
</head>
<body>
<main>
<h1>invoice-extract</h1>
<p class="lead">Is this PDF a ZUGFeRD 1.0 e-invoice? Pick or drop a file; it is checked on this server and not kept.</p>
<form id="form">
<label id="drop" for="file">Drop a PDF here, or choose one:<br>
<input type="file" id="file" name="file" accept="application/pdf,.pdf"></label>
<div class="options">
<label><input type="checkbox" id="any"> accept ZUGFeRD 2 and Factur-X too</label>
<label>Token (if the service asks for one) <input type="password" id="token" autocomplete="off"></label>
</div>
</form>
<section id="result" aria-live="polite">
<p id="status"></p>
<div id="answer" hidden>
<p id="verdict"></p>
<p id="explanation"></p>
<table><tbody id="details"></tbody></table>
<div id="invoice" hidden>
<h2>Invoice XML</h2>
<button type="button" id="download">Download the XML</button>
<pre id="xml" tabindex="0" aria-label="invoice XML"></pre>
</div>
</div>
</section>
</main>
<script>
"use strict";
const $ = (id) => document.getElementById(id);
let xmlBlob = null, xmlName = "invoice.xml";

function headers() {
  const token = $("token").value.trim();
  return token ? { "Authorization": "Bearer " + token } : {};
}

function row(name, value) {
  if (value === undefined || value === null || value === "") return;
  const tr = document.createElement("tr");
  const th = document.createElement("th"); th.textContent = name;
  const td = document.createElement("td"); td.textContent = String(value);
  tr.append(th, td); $("details").append(tr);
}

// Line breaks and indentation for XML that comes on one line.
function indent(xml) {
  if (/\n\s*</.test(xml)) return xml;
  let depth = 0;
  return xml.replace(/>\s*</g, ">\n<").split("\n").map((line) => {
    if (/^<\//.test(line)) depth = Math.max(depth - 1, 0);
    const out = "  ".repeat(depth) + line;
    if (/^<[^!?\/][^>]*[^\/]>$/.test(line) && !/<\//.test(line)) depth++;
    return out;
  }).join("\n");
}

async function post(path, file) {
  const body = new FormData();
  body.append("file", file, file.name);
  const query = $("any").checked ? "?any-flavour=1" : "";
  return fetch(path + query, { method: "POST", body: body, headers: headers() });
}

async function check(file) {
  $("answer").hidden = true; $("invoice").hidden = true; $("details").textContent = "";
  $("status").textContent = "Checking " + file.name + "\u2026";
  let response, data;
  try {
    response = await post("/v1/inspect", file);
    data = await response.json();
  } catch (error) {
    $("status").textContent = "The service did not answer: " + error; return;
  }
  if (!response.ok) { $("status").textContent = "Not checked: " + (data.error || response.status); return; }
  $("status").textContent = file.name + ":";
  const verdict = $("verdict");
  verdict.className = data.accepted ? "good" : "bad";
  verdict.textContent = data.status !== "ok" ? "Not processed: " + data.status + " (" + data.reason + ")"
    : data.verdict + (data.flavour ? " \u2014 " + data.flavour : "");
  $("explanation").textContent = data.explanation || "";
  row("Result code", data.result);
  if (data.pdfa) row("PDF/A", "part " + (data.pdfa.part ?? "?") + ", conformance " + (data.pdfa.conformance ?? "?"));
  row("Encrypted", data.encrypted === undefined ? "" : data.encrypted ? "yes" : "no");
  if (data.schema) {
    row("Invoice schema", data.schema.standard);
    row("DocumentType", data.schema.DocumentType);
    row("DocumentFileName", data.schema.DocumentFileName);
    row("Version", data.schema.Version);
    row("ConformanceLevel", data.schema.ConformanceLevel);
  }
  if (data.attachments) row("Embedded files", data.attachments.map((a) => a.name + " (" +
    (a.size >= 0 ? a.size + " bytes" : a.note || "size unknown") + ")").join(", ") || "none");
  if (data.invoice_xml) {
    row("Guideline", data.invoice_xml.guideline);
    row("Document id", data.invoice_xml.document_id);
    row("Issue date", data.invoice_xml.issue_date);
  }
  row("Seconds", data.seconds);
  $("answer").hidden = false;
  if (!data.accepted) return;
  const extracted = await post("/v1/extract", file);
  if (extracted.status !== 200) return;
  const xml = await extracted.text();
  xmlBlob = new Blob([xml], { type: "application/xml" });
  xmlName = file.name.replace(/\.pdf$/i, "") + ".xml";
  $("xml").textContent = indent(xml);
  $("invoice").hidden = false;
}

$("file").addEventListener("change", () => { if ($("file").files.length) check($("file").files[0]); });
$("download").addEventListener("click", () => {
  if (!xmlBlob) return;
  const link = document.createElement("a");
  link.href = URL.createObjectURL(xmlBlob); link.download = xmlName;
  document.body.append(link); link.click(); link.remove();
  setTimeout(() => URL.revokeObjectURL(link.href), 1000);
});
const drop = $("drop");
drop.addEventListener("dragover", (event) => { event.preventDefault(); drop.classList.add("over"); });
drop.addEventListener("dragleave", () => drop.classList.remove("over"));
drop.addEventListener("drop", (event) => {
  event.preventDefault(); drop.classList.remove("over");
  if (event.dataTransfer.files.length) check(event.dataTransfer.files[0]);
});
</script>
</body>
</html>
)PAGE";
}

}  // namespace tool
