// What people are told.
const isTerminal = process.stderr.isTTY;

/** A line on standard error, for what is lost, wrong or has changed. */
export function say(text) {
  console.error(`${isTerminal ? "\r\x1b[K" : ""}zorvik-mcap: ${readable(text)}`);
}

/** Text from elsewhere, without what a terminal would obey. */
export const readable = (text) =>
  // eslint-disable-next-line no-control-regex
  text.replace(/[\x00-\x1f\x7f-\x9f]/g, (c) => `\\x${c.charCodeAt(0).toString(16).padStart(2, "0")}`);

/** An error of the system that names the file. */
export const named = (error, path) => (error.path ? error : new Error(`${path}: ${error.message}`));

/** Shows on a terminal, each second, how far it is. Returns what ends that. */
export function showProgress(text) {
  if (!isTerminal) return () => {};
  const timer = setInterval(() => process.stderr.write(`\r\x1b[K${text()}`), 1000);
  timer.unref();
  return () => {
    clearInterval(timer);
    process.stderr.write("\r\x1b[K");
  };
}

/** A number with its noun. */
export const several = (count, noun) => `${count} ${noun}${count === 1 ? "" : "s"}`;

/** A time in nanoseconds as in 2026-11-21T10:00:00.000000Z, or to the nanosecond. */
export function timeText(time) {
  const [seconds, nanos] = [time / 1_000_000_000n, time % 1_000_000_000n];
  const fraction = nanos % 1000n === 0n ? String(nanos / 1000n).padStart(6, "0") : String(nanos).padStart(9, "0");
  return `${new Date(Number(seconds) * 1000).toISOString().slice(0, 19)}.${fraction}Z`;
}
