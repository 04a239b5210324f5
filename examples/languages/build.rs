//! Generates the messages. The variable SCHEMAS names the folder of the schemas.

fn main() {
    let schemas = std::env::var("SCHEMAS").expect("SCHEMAS is not set");
    println!("cargo:rerun-if-changed={schemas}");
    println!("cargo:rerun-if-env-changed=SCHEMAS");
    let used = ["channelMessage.proto", "gimbalMessage.proto"];
    prost_build::compile_protos(&used, &[schemas]).expect("cannot compile the schemas");
}
