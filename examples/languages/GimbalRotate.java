// Turns a gimbal: writes the envelope of the command, reads an envelope back.
//
// usage: GimbalRotate FILE_TO_WRITE FILE_TO_READ

import com.google.protobuf.Any;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import zorvik.channel.ChannelMessage.channelTopicMessage;
import zorvik.channel.ChannelMessage.channelTopicType;
import zorvik.gimbal.GimbalMessage.GimbalAttitude3d;
import zorvik.gimbal.GimbalMessage.UavGimbalRotateReqMessage;
import zorvik.gimbal.GimbalMessage.eUAVGimbalRotationMode;

final class GimbalRotate {
  static channelTopicMessage rotate() {
    UavGimbalRotateReqMessage request =
        UavGimbalRotateReqMessage.newBuilder()
            .setSeq(7)
            .setRotationMode(
                eUAVGimbalRotationMode.UAV_GIMBAL_ROTATION_MODE_ABSOLUTE_ANGLE)
            .setRotationValue(
                GimbalAttitude3d.newBuilder().setPitch(-30).setYaw(45))
            .build();
    return channelTopicMessage.newBuilder()
        .setTopicType(
            channelTopicType.CHANNEL_TOPIC_TYPE_GIMBAL_ROTATE.getNumber())
        .setSrcNodeId(1)
        .setDstNodeId(9)
        .setData(Any.pack(request))
        .build();
  }

  static void describe(byte[] encoded) throws IOException {
    channelTopicMessage envelope = channelTopicMessage.parseFrom(encoded);
    // topic_type may hold any number; forNumber() is null for one without a
    // name.
    channelTopicType topic = channelTopicType.forNumber(envelope.getTopicType());
    System.out.println(topic != null ? topic : envelope.getTopicType());
    String url = envelope.getData().getTypeUrl();
    System.out.println(url.substring(url.lastIndexOf('/') + 1));
    if (envelope.getData().is(UavGimbalRotateReqMessage.class)) {
      UavGimbalRotateReqMessage request =
          envelope.getData().unpack(UavGimbalRotateReqMessage.class);
      System.out.println(
          "seq " + request.getSeq() + " pitch " + request.getRotationValue().getPitch());
    }
  }

  public static void main(String[] files) throws IOException {
    Files.write(Path.of(files[0]), rotate().toByteArray());
    describe(Files.readAllBytes(Path.of(files[1])));
  }
}
