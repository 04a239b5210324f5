// Puts the npm package together: a module with types for each schema, a registry
// of all of them, the catalogue, and the program zorvik-mcap.
//
// usage: node tools/npm/build.mjs SCHEMA_FOLDER CATALOGUE FOLDER
import { execFileSync } from "node:child_process";
import { cpSync, mkdirSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { dirname, join } from "node:path";
import { fileURLToPath } from "node:url";
import { compileFromFile } from "json-schema-to-typescript";

const [schemaFolder, cataloguePath, folder] = process.argv.slice(2);
const here = dirname(fileURLToPath(import.meta.url));
const root = join(here, "../..");
const json = readFileSync(cataloguePath, "utf8");
const catalogue = JSON.parse(json);
const schemas = catalogue.schemas.map((schema) => schema.name);

rmSync(folder, { recursive: true, force: true });
mkdirSync(folder, { recursive: true });

execFileSync("protoc", [
  `-I${schemaFolder}`,
  `--plugin=${join(root, "node_modules/.bin/protoc-gen-es")}`,
  `--es_out=target=js+dts,import_extension=js:${folder}`,
  ...schemas,
]);

// createRegistry() of the runtime, over the descriptors of all files.
const modules = schemas.map((schema) => schema.replace(/\.proto$/, ""));
writeFileSync(
  join(folder, "registry.js"),
  `import { createRegistry } from "@bufbuild/protobuf";
${modules.map((name) => `import { file_${name} } from "./${name}_pb.js";`).join("\n")}

export const registry = createRegistry(
${modules.map((name) => `  file_${name},`).join("\n")}
);
`,
);
writeFileSync(
  join(folder, "registry.d.ts"),
  `import type { Registry } from "@bufbuild/protobuf";

/** Knows every message and enum of the vocabulary. */
export declare const registry: Registry;
`,
);

// The program zorvik-mcap, with the form of its recordings.
cpSync(join(here, "mcap"), join(folder, "mcap"), { recursive: true });
execFileSync("protoc", [
  `-I${join(here, "mcap")}`,
  `--plugin=${join(root, "node_modules/.bin/protoc-gen-es")}`,
  `--es_out=target=js,import_extension=js:${join(folder, "mcap")}`,
  "recording.proto",
]);

writeFileSync(join(folder, "catalogue.json"), json);
writeFileSync(join(folder, "catalogue.js"), `export const catalogue = ${json.trim()};\n`);
const types = await compileFromFile(join(root, "tools/catalogue/catalogue.schema.json"), {
  additionalProperties: false,
  bannerComment: "",
});
const rootType = types.match(/^export interface (\w+)/m)[1];
writeFileSync(
  join(folder, "catalogue.d.ts"),
  `${types.replaceAll(rootType, "Catalogue")}\nexport declare const catalogue: Catalogue;\n`,
);

const { devDependencies } = JSON.parse(readFileSync(join(root, "package.json"), "utf8"));
const manifest = JSON.parse(readFileSync(join(here, "package.json"), "utf8"));
manifest.version = catalogue.version;
for (const name of Object.keys(manifest.dependencies)) manifest.dependencies[name] = `^${devDependencies[name]}`;
writeFileSync(join(folder, "package.json"), `${JSON.stringify(manifest, null, 2)}\n`);
cpSync(join(here, "README.md"), join(folder, "README.md"));
