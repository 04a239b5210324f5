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
