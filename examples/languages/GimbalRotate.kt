// Turns a gimbal: writes the envelope of the command, reads an envelope back.
//
// usage: GimbalRotateKt FILE_TO_WRITE FILE_TO_READ

import com.google.protobuf.Any
import java.io.File
import zorvik.channel.ChannelMessage.channelTopicMessage
import zorvik.channel.ChannelMessage.channelTopicType
import zorvik.gimbal.GimbalMessage.GimbalAttitude3d
import zorvik.gimbal.GimbalMessage.UavGimbalRotateReqMessage
import zorvik.gimbal.GimbalMessage.eUAVGimbalRotationMode

fun rotate(): channelTopicMessage {
    val request = UavGimbalRotateReqMessage.newBuilder().apply {
        seq = 7
        rotationMode = eUAVGimbalRotationMode.UAV_GIMBAL_ROTATION_MODE_ABSOLUTE_ANGLE
        rotationValue = GimbalAttitude3d.newBuilder().setPitch(-30).setYaw(45).build()
    }.build()
    return channelTopicMessage.newBuilder().apply {
        topicType = channelTopicType.CHANNEL_TOPIC_TYPE_GIMBAL_ROTATE.number
        srcNodeId = 1
        dstNodeId = 9
        data = Any.pack(request)
    }.build()
}

fun describe(envelope: channelTopicMessage) {
    // topicType may hold any number; forNumber() is null for one without a name.
    println(channelTopicType.forNumber(envelope.topicType) ?: envelope.topicType)
    println(envelope.data.typeUrl.substringAfterLast('/'))
    if (envelope.data.`is`(UavGimbalRotateReqMessage::class.java)) {
        val request = envelope.data.unpack(UavGimbalRotateReqMessage::class.java)
        println("seq ${request.seq} pitch ${request.rotationValue.pitch}")
    }
}

fun main(files: Array<String>) {
    File(files[0]).writeBytes(rotate().toByteArray())
    describe(channelTopicMessage.parseFrom(File(files[1]).readBytes()))
}
