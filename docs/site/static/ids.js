// Shows of the list of ids those that are asked for. The address holds what is
// asked for, so that it can be kept and sent.
const form = document.getElementById('filter');
const rows = [...document.querySelectorAll('.values tr[data-device]')];
const parts = ['.values tbody', '.enum', '.kinds'].map(
    (selector) => [...document.querySelectorAll(selector)]);

function filter() {
  const { device, kind, settled } = form.elements;
  for (const row of rows) {
    const { id } = row.closest('.kinds').firstElementChild;
    row.hidden = (device.value && row.dataset.device !== device.value) ||
      (kind.value && id !== kind.value) ||
      (settled.checked && row.dataset.settled === undefined);
  }
  for (const level of parts) {
    for (const part of level) {
      part.hidden = !part.querySelector('tr[data-device]:not([hidden])');
    }
  }
  for (const link of document.querySelectorAll('.contents a, .jump a')) {
    link.hidden = document.getElementById(
        decodeURIComponent(link.hash.slice(1))).closest('[hidden]') !== null;
  }
  const shown = rows.filter((row) => !row.hidden).length;
  form.querySelector('output').textContent =
    shown < rows.length ? `${shown} of ${rows.length}` : '';
}

const asked = new URLSearchParams(location.search);
for (const name of ['device', 'kind']) {
  form.elements[name].value = asked.get(name) ?? '';
  if (form.elements[name].selectedIndex < 0) form.elements[name].value = '';
}
form.elements.settled.checked = asked.has('settled');
form.addEventListener('change', () => {
  filter();
  const chosen = new URLSearchParams([...new FormData(form)].filter(
      ([, value]) => value));
  history.replaceState(null, '', `?${chosen}`);
});
form.addEventListener('submit', (event) => event.preventDefault());
form.hidden = false;
if (location.search) filter();
