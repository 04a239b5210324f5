// Answers the cases of zorvik check codec with Go's protobuf runtime.
//
// usage: go_peer DESCRIPTOR_SET < CASES > ANSWERS
package main

import (
	"bufio"
	"encoding/hex"
	"encoding/json"
	"log"
	"os"

	"google.golang.org/protobuf/encoding/protojson"
	"google.golang.org/protobuf/proto"
	"google.golang.org/protobuf/reflect/protodesc"
	"google.golang.org/protobuf/reflect/protoreflect"
	"google.golang.org/protobuf/reflect/protoregistry"
	"google.golang.org/protobuf/types/descriptorpb"
	"google.golang.org/protobuf/types/dynamicpb"
)

type testCase struct {
	Message protoreflect.FullName
	Bytes   string
	JSON    *string
}

// The types of all messages, which JSON needs for those that are packed.
func load(path string) (*protoregistry.Types, error) {
	data, err := os.ReadFile(path)
	if err != nil {
		return nil, err
	}
	schemas := &descriptorpb.FileDescriptorSet{}
	if err := proto.Unmarshal(data, schemas); err != nil {
		return nil, err
	}
	files, err := protodesc.NewFiles(schemas)
	if err != nil {
		return nil, err
	}
	types := &protoregistry.Types{}
	files.RangeFiles(func(file protoreflect.FileDescriptor) bool {
		for i := 0; i < file.Messages().Len() && err == nil; i++ {
			err = types.RegisterMessage(dynamicpb.NewMessageType(file.Messages().Get(i)))
		}
		return err == nil
	})
	return types, err
}

func encode(message proto.Message) (string, error) {
	data, err := proto.MarshalOptions{Deterministic: true}.Marshal(message)
	return hex.EncodeToString(data), err
}

func answer(asked testCase, types *protoregistry.Types) (answered map[string]string, err error) {
	answered = map[string]string{}
	data, err := hex.DecodeString(asked.Bytes)
	if err != nil {
		return
	}
	kind, err := types.FindMessageByName(asked.Message)
	if err != nil {
		return
	}
	message := kind.New().Interface()
	if fault := proto.Unmarshal(data, message); fault != nil {
		answered["error"] = fault.Error()
		return
	}
	if answered["bytes"], err = encode(message); err != nil || asked.JSON == nil {
		return
	}
	text, err := protojson.MarshalOptions{Resolver: types}.Marshal(message)
	if err != nil {
		return
	}
	answered["json"] = string(text)
	again := kind.New().Interface()
	if fault := (protojson.UnmarshalOptions{Resolver: types}).Unmarshal([]byte(*asked.JSON), again); fault != nil {
		answered["jsonError"] = fault.Error()
		return
	}
	answered["fromJson"], err = encode(again)
	return
}

func run(path string) error {
	types, err := load(path)
	if err != nil {
		return err
	}
	cases, answers := json.NewDecoder(os.Stdin), bufio.NewWriter(os.Stdout)
	defer answers.Flush()
	for cases.More() {
		var asked testCase
		if err := cases.Decode(&asked); err != nil {
			return err
		}
		answered, err := answer(asked, types)
		if err != nil {
			return err
		}
		if err := json.NewEncoder(answers).Encode(answered); err != nil {
			return err
		}
	}
	return nil
}

func main() {
	if err := run(os.Args[1]); err != nil {
		log.Fatal(err)
	}
}
