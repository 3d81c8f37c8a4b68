// Small conveniences on top of pages that work without scripts:
// "/" focuses the search box, and repository ids get a copy button; and
// the call forms of interface pages, which need the script to send.
(function () {
  "use strict";

  document.addEventListener("keydown", function (event) {
    if (event.key !== "/" || event.ctrlKey || event.metaKey || event.altKey) {
      return;
    }
    var target = event.target;
    if (target && (target.tagName === "INPUT" || target.tagName === "TEXTAREA" ||
                   target.tagName === "SELECT" || target.isContentEditable)) {
      return;
    }
    var box = document.querySelector(".quick-search input[name=q]");
    if (box) {
      event.preventDefault();
      box.focus();
      box.select();
    }
  });

  function addCopyButton(element) {
    if (!navigator.clipboard) {
      return;
    }
    var button = document.createElement("button");
    button.type = "button";
    button.className = "copy";
    button.textContent = "copy";
    button.title = "Copy to the clipboard";
    button.addEventListener("click", function () {
      navigator.clipboard.writeText(element.textContent).then(function () {
        button.textContent = "copied";
        window.setTimeout(function () { button.textContent = "copy"; }, 1500);
      }, function () {
        button.textContent = "not copied";
      });
    });
    element.parentNode.insertBefore(button, element.nextSibling);
  }

  // The call form of an interface page: each operation's fields become
  // the JSON arguments of POST /api/v1/call, and the reply is shown as
  // JSON under the form.

  // A number field: a JSON number when the text is one that JavaScript
  // holds exactly, else the text itself (64-bit integers, "NaN",
  // "Infinity"; the gateway refuses what is not a number).
  function numberValue(text) {
    var t = text.trim();
    if (/^-?(\d+\.?\d*|\.\d+)([eE][+-]?\d+)?$/.test(t)) {
      var n = Number(t);
      if (!/^-?\d+$/.test(t) || Number.isSafeInteger(n)) {
        return n;
      }
    }
    return t;
  }

  // The argument of one field; throws an Error naming the field.
  function fieldValue(field) {
    var kind = field.getAttribute("data-input");
    var text = field.value;
    if (kind === "number") {
      return numberValue(text);
    }
    if (kind === "boolean") {
      return text === "true";
    }
    if (kind === "object") {
      return text.trim() === "" ? null : text.trim();
    }
    if (kind === "json") {
      try {
        return JSON.parse(text);
      } catch (e) {
        throw new Error(field.name + ": not JSON: " + e.message);
      }
    }
    return text;
  }

  function showReply(form, status, text, failed) {
    var out = form.querySelector(".call-status");
    var pre = form.querySelector(".call-result");
    out.textContent = status;
    pre.textContent = text;
    pre.hidden = false;
    pre.classList.toggle("call-failed", failed);
  }

  function sendCall(section, form) {
    var target = document.getElementById("call-target").value.trim();
    var ns = document.getElementById("call-ns").value.trim();
    var args = [];
    try {
      var fields = form.querySelectorAll("[data-input]");
      for (var i = 0; i < fields.length; i++) {
        args.push(fieldValue(fields[i]));
      }
    } catch (e) {
      showReply(form, "not sent", e.message, true);
      return;
    }
    var request = {
      target: target,
      operation: form.getAttribute("data-operation"),
      args: args,
      interface: section.getAttribute("data-interface")
    };
    if (ns !== "") {
      request.naming_service = ns;
    }
    showReply(form, "calling...", "", false);
    fetch("/api/v1/call", {
      method: "POST",
      headers: {"Content-Type": "application/json"},
      body: JSON.stringify(request)
    }).then(function (reply) {
      return reply.text().then(function (body) {
        var shown = body;
        try {
          shown = JSON.stringify(JSON.parse(body), null, 2);
        } catch (e) {
          // not JSON: shown as it came
        }
        showReply(form, "HTTP " + reply.status, shown, !reply.ok);
      });
    }, function (e) {
      showReply(form, "no reply", String(e), true);
    });
  }

  function setUpCallForms() {
    var section = document.getElementById("call");
    if (!section) {
      return;
    }
    var forms = section.querySelectorAll("form.call-form");
    for (var i = 0; i < forms.length; i++) {
      forms[i].addEventListener("submit", function (event) {
        event.preventDefault();
        sendCall(section, event.currentTarget);
      });
    }
  }

  document.addEventListener("DOMContentLoaded", function () {
    var ids = document.querySelectorAll("code.repo-id.copyable");
    for (var i = 0; i < ids.length; i++) {
      addCopyButton(ids[i]);
    }
    setUpCallForms();
  });
})();
