// Turns a gimbal: writes the envelope of the command, reads an envelope back.
//
// usage: gimbal_rotate FILE_TO_WRITE FILE_TO_READ
package main

import (
	"fmt"
	"log"
	"os"

	"google.golang.org/protobuf/proto"
	"google.golang.org/protobuf/types/known/anypb"

	"example/channel"
	"example/gimbal"
)

func rotate() ([]byte, error) {
	data, err := anypb.New(&gimbal.UavGimbalRotateReqMessage{
		Seq:           7,
		RotationMode:  gimbal.EUAVGimbalRotationMode_UAV_GIMBAL_ROTATION_MODE_ABSOLUTE_ANGLE,
		RotationValue: &gimbal.GimbalAttitude3D{Pitch: -30, Yaw: 45},
	})
	if err != nil {
		return nil, err
	}
	return proto.Marshal(&channel.ChannelTopicMessage{
		TopicType: int32(channel.ChannelTopicType_CHANNEL_TOPIC_TYPE_GIMBAL_ROTATE),
		SrcNodeId: 1,
		DstNodeId: 9,
		Data:      data,
	})
}

func describe(encoded []byte) error {
	var envelope channel.ChannelTopicMessage
	if err := proto.Unmarshal(encoded, &envelope); err != nil {
		return err
	}
	// A number without a name is printed as a number.
	fmt.Println(channel.ChannelTopicType(envelope.TopicType))
	// Finds the messages of all packages that are imported.
	content, err := envelope.Data.UnmarshalNew()
	if err != nil {
		return err
	}
	fmt.Println(content.ProtoReflect().Descriptor().FullName())
	if request, ok := content.(*gimbal.UavGimbalRotateReqMessage); ok {
		fmt.Println("seq", request.Seq, "pitch", request.RotationValue.GetPitch())
	}
	return nil
}

func run() error {
	encoded, err := rotate()
	if err != nil {
		return err
	}
	if err := os.WriteFile(os.Args[1], encoded, 0o666); err != nil {
		return err
	}
	encoded, err = os.ReadFile(os.Args[2])
	if err != nil {
		return err
	}
	return describe(encoded)
}

func main() {
	if err := run(); err != nil {
		log.Fatal(err)
	}
}
