// A failed login returns here with the reason as the fragment. The style sheet shows it; this tells screen readers.
const reason = document.getElementById(location.hash.slice(1) || "none");
if (reason?.classList.contains("wrong")) {
  document.getElementById("user").setAttribute("aria-describedby", reason.id);
  document.title = `${reason.textContent} – Vantry`;
}
