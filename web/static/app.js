// Small conveniences on top of pages that work without scripts:
// "/" focuses the search box, and repository ids get a copy button.
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

  document.addEventListener("DOMContentLoaded", function () {
    var ids = document.querySelectorAll("code.repo-id.copyable");
    for (var i = 0; i < ids.length; i++) {
      addCopyButton(ids[i]);
    }
  });
})();
