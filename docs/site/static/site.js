// The few things that style sheets cannot do. Without scripts, all pages can
// still be read.

// The list of contents is folded where there is no room beside the text.
const contents = document.querySelector('.contents details');
const wide = matchMedia('(min-width: 62rem)');
const fold = () => contents?.toggleAttribute('open', wide.matches);
wide.addEventListener('change', fold);
fold();
contents?.addEventListener('click', (event) => {
  if (event.target.closest('a') && !wide.matches) {
    contents.removeAttribute('open');
  }
});

// A printed page shows the folded parts, too.
let unfolded = [];
addEventListener('beforeprint', () => {
  unfolded = [...document.querySelectorAll('details:not([open])')];
  for (const details of unfolded) details.open = true;
});
addEventListener('afterprint', () => {
  for (const details of unfolded) details.open = false;
});

// Code has a button that copies it; a button may copy the address of the page.
for (const pre of document.querySelectorAll('.guide pre, .snippet pre')) {
  const button = document.createElement('button');
  Object.assign(button, { type: 'button', className: 'copy', textContent: 'Copy' });
  const frame = document.createElement('div');
  frame.className = 'copied';
  pre.replaceWith(frame);
  frame.append(pre, button);
}
document.addEventListener('click', async (event) => {
  const button = event.target.closest('button.copy');
  if (!button) return;
  const code = button.parentNode.querySelector('code');
  const words = button.textContent;
  try {
    await navigator.clipboard.writeText(code?.textContent ?? location.href);
    button.textContent = 'Copied';
  } catch {  // A browser may forbid it; the keyboard then copies what is selected.
    if (code) getSelection().selectAllChildren(code);
    button.textContent = code ? 'Selected' : 'Not allowed here';
  }
  setTimeout(() => { button.textContent = words; }, 1500);
});
