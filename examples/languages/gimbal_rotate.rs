//! Turns a gimbal: writes the envelope of the command, reads an envelope back.
//!
//! usage: gimbal_rotate FILE_TO_WRITE FILE_TO_READ

use std::{env, error::Error, fs};

use channel::{ChannelTopicMessage, ChannelTopicType};
use gimbal::{EUavGimbalRotationMode, GimbalAttitude3d, UavGimbalRotateReqMessage};
use prost::Message;
use prost_types::Any;

mod channel {
    include!(concat!(env!("OUT_DIR"), "/zorvik.channel.rs"));
}
mod gimbal {
    include!(concat!(env!("OUT_DIR"), "/zorvik.gimbal.rs"));
}

/// prost 0.11 does not know the name of a message.
const ROTATE: &str = "zorvik.gimbal.UavGimbalRotateReqMessage";

fn rotate() -> Vec<u8> {
    let request = UavGimbalRotateReqMessage {
        seq: 7,
        rotation_mode: EUavGimbalRotationMode::UavGimbalRotationModeAbsoluteAngle as i32,
        rotation_value: Some(GimbalAttitude3d { pitch: -30, roll: 0, yaw: 45 }),
        ..Default::default()
    };
    let envelope = ChannelTopicMessage {
        topic_type: ChannelTopicType::GimbalRotate as i32,
        src_node_id: 1,
        dst_node_id: 9,
        data: Some(Any {
            type_url: format!("type.googleapis.com/{ROTATE}"),
            value: request.encode_to_vec(),
        }),
    };
    envelope.encode_to_vec()
}

fn describe(encoded: &[u8]) -> Result<(), Box<dyn Error>> {
    let envelope = ChannelTopicMessage::decode(encoded)?;
    // topic_type may hold any number; not every number has a name.
    match ChannelTopicType::from_i32(envelope.topic_type) {
        Some(topic) => println!("{}", topic.as_str_name()),
        None => println!("{}", envelope.topic_type),
    }
    let data = envelope.data.unwrap_or_default();
    let name = data.type_url.rsplit('/').next().unwrap_or_default();
    println!("{name}");
    if name == ROTATE {
        let request = UavGimbalRotateReqMessage::decode(&*data.value)?;
        let pitch = request.rotation_value.unwrap_or_default().pitch;
        println!("seq {} pitch {pitch}", request.seq);
    }
    Ok(())
}

fn main() -> Result<(), Box<dyn Error>> {
    let files: Vec<String> = env::args().skip(1).collect();
    fs::write(&files[0], rotate())?;
    describe(&fs::read(&files[1])?)
}
