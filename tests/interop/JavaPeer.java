import com.google.gson.JsonObject;
import com.google.gson.JsonParser;
import com.google.protobuf.AnyProto;
import com.google.protobuf.ByteString;
import com.google.protobuf.DescriptorProtos.FileDescriptorProto;
import com.google.protobuf.DescriptorProtos.FileDescriptorSet;
import com.google.protobuf.Descriptors.Descriptor;
import com.google.protobuf.Descriptors.DescriptorValidationException;
import com.google.protobuf.Descriptors.FileDescriptor;
import com.google.protobuf.DynamicMessage;
import com.google.protobuf.InvalidProtocolBufferException;
import com.google.protobuf.Message;
import com.google.protobuf.util.JsonFormat;
import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStreamReader;
import java.io.PrintStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.HashMap;
import java.util.HexFormat;
import java.util.Map;

/**
 * Answers the cases of zorvik check codec with Java's protobuf runtime.
 *
 * <p>usage: JavaPeer DESCRIPTOR_SET &lt; CASES &gt; ANSWERS
 */
public final class JavaPeer {
  private final Map<String, Descriptor> messages = new HashMap<>();
  private final JsonFormat.Printer printer;
  private final JsonFormat.Parser parser;

  private JavaPeer(String path) throws IOException, DescriptorValidationException {
    // Each schema comes behind those that it imports. Any comes with the runtime, which
    // knows no other as empty.
    Map<String, FileDescriptor> files = new HashMap<>();
    files.put(AnyProto.getDescriptor().getName(), AnyProto.getDescriptor());
    JsonFormat.TypeRegistry.Builder types = JsonFormat.TypeRegistry.newBuilder();
    for (FileDescriptorProto schema :
        FileDescriptorSet.parseFrom(Files.readAllBytes(Path.of(path))).getFileList()) {
      FileDescriptor[] imports =
          schema.getDependencyList().stream().map(files::get).toArray(FileDescriptor[]::new);
      FileDescriptor file = files.get(schema.getName());
      if (file == null) {
        file = FileDescriptor.buildFrom(schema, imports);
        files.put(schema.getName(), file);
      }
      types.add(file.getMessageTypes());
      file.getMessageTypes().forEach(message -> messages.put(message.getFullName(), message));
    }
    printer = JsonFormat.printer().usingTypeRegistry(types.build());
    parser = JsonFormat.parser().usingTypeRegistry(types.build());
  }

  private static String hex(Message message) {
    return HexFormat.of().formatHex(message.toByteArray());
  }

  private JsonObject answer(JsonObject asked) throws InvalidProtocolBufferException {
    Descriptor type = messages.get(asked.get("message").getAsString());
    byte[] bytes = HexFormat.of().parseHex(asked.get("bytes").getAsString());
    JsonObject answer = new JsonObject();
    Message message;
    try {
      message = DynamicMessage.parseFrom(type, ByteString.copyFrom(bytes));
    } catch (InvalidProtocolBufferException error) {
      answer.addProperty("error", error.getMessage());
      return answer;
    }
    answer.addProperty("bytes", hex(message));
    if (asked.has("json")) {
      answer.addProperty("json", printer.print(message));
      Message.Builder again = DynamicMessage.newBuilder(type);
      try {
        parser.merge(asked.get("json").getAsString(), again);
        answer.addProperty("fromJson", hex(again.build()));
      } catch (InvalidProtocolBufferException error) {
        answer.addProperty("jsonError", error.getMessage());
      }
    }
    return answer;
  }

  public static void main(String[] words) throws IOException, DescriptorValidationException {
    JavaPeer peer = new JavaPeer(words[0]);
    BufferedReader cases =
        new BufferedReader(new InputStreamReader(System.in, StandardCharsets.UTF_8));
    PrintStream answers = new PrintStream(System.out, true, StandardCharsets.UTF_8);
    for (String line = cases.readLine(); line != null; line = cases.readLine()) {
      answers.println(peer.answer(JsonParser.parseString(line).getAsJsonObject()));
    }
  }
}
