// FlatBuffers: a format of its own, read in place after a check. The schema in
// peers/ has the same fields; the bytes are not the library's.
#include <flatbuffers/flatbuffers.h>

#include "codec.h"
#include "zorvik_generated.h"

namespace {

using flatbuffers::FlatBufferBuilder;
using flatbuffers::Offset;

template <typename Text>
std::string_view View(const Text* text) {
  if (text == nullptr) return {};
  return {reinterpret_cast<const char*>(text->Data()), text->size()};
}

Offset<peer::RotateRequest> Make(const sample::Rotate& from,
                                 FlatBufferBuilder* builder) {
  const auto relative =
      peer::CreateRelativeAngleRotation(*builder, from.action_time);
  const auto property = peer::CreateRotationProperty(*builder, relative);
  const auto value =
      peer::CreateAttitude(*builder, from.pitch, from.roll, from.yaw);
  return peer::CreateRotateRequest(*builder, from.seq, from.mode, property,
                                   value);
}

Offset<peer::Quaternion> Make(const sample::Quaternion& from,
                              FlatBufferBuilder* builder) {
  return peer::CreateQuaternion(*builder, from[0], from[1], from[2], from[3]);
}

Offset<peer::Vector> Make(const sample::Vector& from,
                          FlatBufferBuilder* builder) {
  return peer::CreateVector(*builder, from[0], from[1], from[2]);
}

Offset<peer::Imu> Make(const sample::Imu& from, FlatBufferBuilder* builder) {
  const auto q = Make(from.q, builder);
  return peer::CreateImu(*builder, from.version, from.flag, from.position[0],
                         from.position[1], from.position[2], from.velocity[0],
                         from.velocity[1], from.velocity[2],
                         from.acceleration[0], from.acceleration[1],
                         from.acceleration[2], q, from.count, from.timestamp);
}

Offset<peer::HardSync> Make(const sample::HardSync& from,
                            FlatBufferBuilder* builder) {
  const auto q = Make(from.q, builder);
  const auto a = Make(from.a, builder);
  const auto w = Make(from.w, builder);
  return peer::CreateHardSync(*builder, from.timestamp, q, a, w);
}

Offset<peer::Battery> Make(const sample::Battery& from,
                           FlatBufferBuilder* builder) {
  return peer::CreateBattery(*builder, from.index, from.voltage, from.current,
                             from.full, from.remained, from.temperature,
                             from.cells, from.percent, from.state, from.sop);
}

Offset<peer::Tracer> Make(const sample::Tracer& from,
                          FlatBufferBuilder* builder) {
  std::array<Offset<peer::Target>, sample::Tracer::kMostTargets> targets;
  for (uint32_t i = 0; i < from.targets_used; ++i) {
    const sample::Target& t = from.targets[i];
    const auto name = builder->CreateString(t.name.data(), t.name.size());
    targets[i] = peer::CreateTarget(
        *builder, t.num, t.type, t.cal_cnt, t.work_status, t.time_create,
        t.time_test, t.sig_band, t.distance, t.freq, t.amp, t.tm_fw, t.tm_fy,
        t.tf_fw, t.tf_fy, t.confidence, t.time_offset, name);
  }
  const auto list = builder->CreateVector(targets.data(), from.targets_used);
  return peer::CreateTracer(*builder, from.frame, from.work_status,
                            from.target_number, list, from.work_mode);
}

Offset<peer::Stream> Make(const sample::Stream& from,
                          FlatBufferBuilder* builder) {
  const auto session =
      builder->CreateString(from.session.data(), from.session.size());
  const auto data = builder->CreateVector(
      reinterpret_cast<const uint8_t*>(from.data.data()), from.data.size());
  return peer::CreateStream(*builder, from.offset, from.length, session, data);
}

void Read(const peer::RotateRequest& from, sample::Rotate* to) {
  *to = {};
  to->seq = from.seq();
  to->mode = from.rotation_mode();
  if (const auto* property = from.rotation_property()) {
    if (const auto* relative = property->relative_angle_rotation()) {
      to->action_time = relative->action_time();
    }
  }
  if (const auto* value = from.rotation_value()) {
    to->pitch = value->pitch();
    to->roll = value->roll();
    to->yaw = value->yaw();
  }
}

sample::Quaternion Read(const peer::Quaternion* from) {
  if (from == nullptr) return {};
  return {from->q0(), from->q1(), from->q2(), from->q3()};
}

sample::Vector Read(const peer::Vector* from) {
  if (from == nullptr) return {};
  return {from->x(), from->y(), from->z()};
}

void Read(const peer::Imu& from, sample::Imu* to) {
  to->version = from.version();
  to->flag = from.flag();
  to->position = {from.pn_x(), from.pn_y(), from.pn_z()};
  to->velocity = {from.vn_x(), from.vn_y(), from.vn_z()};
  to->acceleration = {from.an_x(), from.an_y(), from.an_z()};
  to->q = Read(from.q());
  to->count = from.count();
  to->timestamp = from.timestamp();
}

void Read(const peer::HardSync& from, sample::HardSync* to) {
  *to = {from.timestamp(), Read(from.q()), Read(from.a()), Read(from.w())};
}

void Read(const peer::Battery& from, sample::Battery* to) {
  *to = {from.index(),    from.voltage(),     from.current(), from.full(),
         from.remained(), from.temperature(), from.cells(),   from.percent(),
         from.state(),    from.sop()};
}

void Read(const peer::Tracer& from, sample::Tracer* to) {
  to->frame = from.frame();
  to->work_status = from.work_status();
  to->target_number = from.target_number();
  to->work_mode = from.work_mode();
  to->targets_used = from.targets() == nullptr ? 0 : from.targets()->size();
  for (uint32_t i = 0; i < to->targets_used; ++i) {
    const peer::Target& t = *from.targets()->Get(i);
    to->targets.at(i) = {t.num(),         t.type(),        t.cal_cnt(),
                         t.work_status(), t.time_create(), t.time_test(),
                         t.sig_band(),    t.distance(),    t.freq(),
                         t.amp(),         t.tm_fw(),       t.tm_fy(),
                         t.tf_fw(),       t.tf_fy(),       t.confidence(),
                         t.time_offset(), View(t.name())};
  }
}

void Read(const peer::Stream& from, sample::Stream* to) {
  *to = {from.offset(), from.length(), View(from.session()), View(from.data())};
}

// The table of a sample.
template <typename Sample>
struct TableOf;
template <>
struct TableOf<sample::Rotate> {
  using Type = peer::RotateRequest;
};
template <>
struct TableOf<sample::Imu> {
  using Type = peer::Imu;
};
template <>
struct TableOf<sample::HardSync> {
  using Type = peer::HardSync;
};
template <>
struct TableOf<sample::Battery> {
  using Type = peer::Battery;
};
template <>
struct TableOf<sample::Tracer> {
  using Type = peer::Tracer;
};
template <>
struct TableOf<sample::Stream> {
  using Type = peer::Stream;
};

// The root of a buffer, or null when it does not hold together.
template <typename Table>
const Table* Verified(std::string_view bytes) {
  const auto* data = reinterpret_cast<const uint8_t*>(bytes.data());
  flatbuffers::Verifier verifier(data, bytes.size());
  if (!verifier.VerifyBuffer<Table>(nullptr)) return nullptr;
  return flatbuffers::GetRoot<Table>(data);
}

std::string_view View(const FlatBufferBuilder& builder) {
  return {reinterpret_cast<const char*>(builder.GetBufferPointer()),
          builder.GetSize()};
}

class FlatBuffersCodec {
 public:
  template <typename Sample>
  std::string_view Encode(const Sample& sample) {
    builder_.Clear();
    builder_.Finish(Make(sample, &builder_));
    return View(builder_);
  }

  std::string_view Encode(const sample::Envelope& sample) {
    payload_.Clear();
    payload_.Finish(Make(sample.rotate, &payload_));
    builder_.Clear();
    builder_.ForceVectorAlignment(payload_.GetSize(), 1, 8);
    const auto value =
        builder_.CreateVector(payload_.GetBufferPointer(), payload_.GetSize());
    const auto type_url = builder_.CreateString(RotateTypeUrl());
    const auto data = peer::CreateAny(builder_, type_url, value);
    builder_.Finish(peer::CreateEnvelope(builder_, sample.topic, sample.source,
                                         sample.destination, data));
    return View(builder_);
  }

  template <typename Sample>
  bool Decode(const std::string& bytes, Sample* sample) {
    const auto* table = Verified<typename TableOf<Sample>::Type>(bytes);
    if (table == nullptr) return false;
    Read(*table, sample);
    return true;
  }

  bool Decode(const std::string& bytes, sample::Envelope* sample) {
    const auto* envelope = Verified<peer::Envelope>(bytes);
    if (envelope == nullptr || envelope->data() == nullptr) return false;
    sample->topic = envelope->topic_type();
    sample->source = envelope->src_node_id();
    sample->destination = envelope->dst_node_id();
    if (View(envelope->data()->type_url()) != RotateTypeUrl()) return false;
    const auto* rotate =
        Verified<peer::RotateRequest>(View(envelope->data()->value()));
    if (rotate == nullptr) return false;
    Read(*rotate, &sample->rotate);
    return true;
  }

 private:
  FlatBufferBuilder builder_;
  FlatBufferBuilder payload_;
};

}  // namespace

void RegisterFlatBuffers() {
  Register<FlatBuffersCodec>("FlatBuffers", Format::kOther);
}
