#!/usr/bin/env node
// The program zorvik-mcap.
import { parseArgs } from "node:util";
import { catalogue } from "../catalogue.js";
import * as convert from "./convert.js";
import * as info from "./info.js";
import { WrongUse } from "./places.js";
import * as record from "./record.js";
import * as recover from "./recover.js";
import * as replay from "./replay.js";
import { say } from "./terminal.js";

const commands = { record, convert, replay, info, recover };

const help = `Usage: zorvik-mcap COMMAND ...

Recordings of envelopes, as MCAP files.

  record   records what arrives over UDP or from a broker
  convert  makes a recording of a pcap or pcapng file
  replay   sends what was recorded
  info     shows what a recording has
  recover  repairs a recording that was cut

zorvik-mcap COMMAND --help tells more. The exit status is 0, 1 when something failed
or was lost, or 2 when the command line makes no sense. What recover cannot read does
not make it 1.

Examples:
  zorvik-mcap record udp:14550 -o flight.mcap
  zorvik-mcap info flight.mcap
  zorvik-mcap replay flight.mcap udp:127.0.0.1:14550
`;

async function main([name, ...args]) {
  if (name === "--help" || name === "-h") {
    process.stdout.write(help);
    return 0;
  }
  if (name === "--version") {
    console.log(catalogue.version);
    return 0;
  }
  const command = Object.hasOwn(commands, name ?? "") && commands[name];
  if (!command) throw new WrongUse(name === undefined ? "no command" : `no command ${name}`);
  let parsed;
  try {
    const options = { ...command.options, help: { type: "boolean", short: "h" } };
    parsed = parseArgs({ args, options, allowPositionals: true });
  } catch (error) {
    throw new WrongUse(error.message.replaceAll("\n", " "));
  }
  if (parsed.values.help) {
    process.stdout.write(command.help);
    return 0;
  }
  return command.run(parsed.values, parsed.positionals);
}

try {
  process.exitCode = await main(process.argv.slice(2));
} catch (error) {
  say(error instanceof WrongUse ? `${error.message}; see zorvik-mcap --help` : error.message);
  process.exitCode = error instanceof WrongUse ? 2 : 1;
  // Sockets that listen would keep the process.
  process.exit();
}
