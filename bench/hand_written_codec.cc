// The limit: code for exactly these messages and nothing else. It knows no
// unknown field, keeps no object, and takes a record within for shorter than
// 128 bytes. Nobody should write messages like this.
#include <cstring>

#include "codec.h"
#include "library_records.h"

namespace {

using google::protobuf::Any;
using records::channel::channelTopicMessage;
using records::gimbal::GimbalAttitude3d;
using records::gimbal::relativeAngleRotationMessage;
using records::gimbal::UavGimbalRotateReqMessage;
using records::gimbal::UavGimbalRotationPropertyMessage;
using records::protocol::singleTargetInfo;
using records::protocol::tracerMeasureInfoMessage;
using records::sdksub::hardSync;
using records::sdksub::ImuAttiNaviData;
using records::sdksub::Quaternion4f;
using records::sdksub::SingleBatteryInfo;
using records::sdksub::Vector3f;
using records::stream::responseData;

enum WireType { kVarint = 0, kBytes = 2, kFixed32 = 5 };

constexpr uint32_t Tag(int field, WireType type) {
  return static_cast<uint32_t>(field) << 3 | type;
}

// The first byte of a tag.
constexpr uint8_t First(int field, WireType type) {
  const uint32_t tag = Tag(field, type);
  return static_cast<uint8_t>(tag < 0x80 ? tag : tag | 0x80);
}

uint32_t Bits(float value) {
  uint32_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

uint32_t Zigzag(int32_t value) {
  return static_cast<uint32_t>(value) << 1 ^ static_cast<uint32_t>(value >> 31);
}

class Writer {
 public:
  explicit Writer(uint8_t* to) : p_(to) {}

  void Varint(uint64_t value) {
    while (value >= 0x80) {
      *p_++ = static_cast<uint8_t>(value | 0x80);
      value >>= 7;
    }
    *p_++ = static_cast<uint8_t>(value);
  }

  template <int kField>
  void Number(uint64_t value) {
    if (value == 0) return;
    Varint(Tag(kField, kVarint));
    Varint(value);
  }
  // A negative number takes ten bytes, as if it were one of 64 bits.
  template <int kField>
  void Signed(int64_t value) {
    Number<kField>(static_cast<uint64_t>(value));
  }
  template <int kField>
  void Float(float value) {
    const uint32_t bits = Bits(value);
    if (bits == 0) return;
    Varint(Tag(kField, kFixed32));
    std::memcpy(p_, &bits, sizeof bits);
    p_ += sizeof bits;
  }
  template <int kField>
  void Bytes(std::string_view value) {
    if (value.empty()) return;
    Varint(Tag(kField, kBytes));
    Varint(value.size());
    std::memcpy(p_, value.data(), value.size());
    p_ += value.size();
  }
  template <int kField, typename Body>
  void Record(Body body) {
    Varint(Tag(kField, kBytes));
    uint8_t* const length = p_++;
    body();
    *length = static_cast<uint8_t>(p_ - length - 1);
  }

  uint8_t* position() const { return p_; }

 private:
  uint8_t* p_;
};

class Reader {
 public:
  explicit Reader(std::string_view bytes)
      : p_(reinterpret_cast<const uint8_t*>(bytes.data())),
        end_(p_ + bytes.size()) {}

  // The first byte of the next tag; 0, which is none, at the end.
  uint8_t Next() { return p_ < end_ ? *p_++ : 0; }

  uint64_t Varint() {
    uint64_t value = 0;
    for (int shift = 0; p_ < end_ && shift < 64; shift += 7) {
      const uint8_t byte = *p_++;
      value |= static_cast<uint64_t>(byte & 0x7f) << shift;
      if (byte < 0x80) return value;
    }
    good_ = false;
    return 0;
  }
  void Read(int32_t* to) { *to = static_cast<int32_t>(Varint()); }
  void Read(uint32_t* to) { *to = static_cast<uint32_t>(Varint()); }
  void Read(int64_t* to) { *to = static_cast<int64_t>(Varint()); }
  void Read(uint64_t* to) { *to = Varint(); }
  void ReadZigzag(int32_t* to) {
    const auto bits = static_cast<uint32_t>(Varint());
    *to = static_cast<int32_t>(bits >> 1 ^ (0 - (bits & 1)));
  }
  void Read(float* to) {
    if (end_ - p_ < 4) return Fail();
    std::memcpy(to, p_, 4);
    p_ += 4;
  }
  std::string_view Bytes() {
    const uint64_t size = Varint();
    if (size > static_cast<uint64_t>(end_ - p_)) {
      Fail();
      return {};
    }
    const std::string_view view(reinterpret_cast<const char*>(p_), size);
    p_ += size;
    return view;
  }
  // The second byte of a tag of two.
  void Expect(uint8_t byte) {
    if (Next() != byte) Fail();
  }

  void Fail() {
    good_ = false;
    p_ = end_;
  }
  bool good() const { return good_; }

 private:
  const uint8_t* p_;
  const uint8_t* const end_;
  bool good_ = true;
};

void Write(const sample::Rotate& from, Writer* to) {
  to->Number<UavGimbalRotateReqMessage::kSeqFieldNumber>(from.seq);
  to->Signed<UavGimbalRotateReqMessage::kRotationModeFieldNumber>(from.mode);
  to->Record<UavGimbalRotateReqMessage::kRotationPropertyFieldNumber>([&] {
    to->Record<
        UavGimbalRotationPropertyMessage::kRelativeAngleRotationFieldNumber>(
        [&] {
          to->Signed<relativeAngleRotationMessage::kActionTimeFieldNumber>(
              from.action_time);
        });
  });
  to->Record<UavGimbalRotateReqMessage::kRotationValueFieldNumber>([&] {
    to->Signed<GimbalAttitude3d::kPitchFieldNumber>(from.pitch);
    to->Signed<GimbalAttitude3d::kRollFieldNumber>(from.roll);
    to->Signed<GimbalAttitude3d::kYawFieldNumber>(from.yaw);
  });
}

bool ReadProperty(std::string_view bytes, int32_t* action_time) {
  Reader property(bytes);
  while (const uint8_t tag = property.Next()) {
    if (tag !=
        First(
            UavGimbalRotationPropertyMessage::kRelativeAngleRotationFieldNumber,
            kBytes)) {
      return false;
    }
    Reader relative(property.Bytes());
    while (const uint8_t inner = relative.Next()) {
      if (inner != First(relativeAngleRotationMessage::kActionTimeFieldNumber,
                         kVarint)) {
        return false;
      }
      relative.Read(action_time);
    }
    if (!relative.good()) return false;
  }
  return property.good();
}

bool ReadAttitude(std::string_view bytes, sample::Rotate* to) {
  Reader from(bytes);
  while (const uint8_t tag = from.Next()) {
    switch (tag) {
      case First(GimbalAttitude3d::kPitchFieldNumber, kVarint):
        from.Read(&to->pitch);
        break;
      case First(GimbalAttitude3d::kRollFieldNumber, kVarint):
        from.Read(&to->roll);
        break;
      case First(GimbalAttitude3d::kYawFieldNumber, kVarint):
        from.Read(&to->yaw);
        break;
      default:
        return false;
    }
  }
  return from.good();
}

bool Read(std::string_view bytes, sample::Rotate* to) {
  *to = {};
  Reader from(bytes);
  while (const uint8_t tag = from.Next()) {
    switch (tag) {
      case First(UavGimbalRotateReqMessage::kSeqFieldNumber, kVarint):
        from.Read(&to->seq);
        break;
      case First(UavGimbalRotateReqMessage::kRotationModeFieldNumber, kVarint):
        from.Read(&to->mode);
        break;
      case First(UavGimbalRotateReqMessage::kRotationPropertyFieldNumber,
                 kBytes):
        if (!ReadProperty(from.Bytes(), &to->action_time)) return false;
        break;
      case First(UavGimbalRotateReqMessage::kRotationValueFieldNumber, kBytes):
        if (!ReadAttitude(from.Bytes(), to)) return false;
        break;
      default:
        return false;
    }
  }
  return from.good();
}

void Write(const sample::Envelope& from, Writer* to) {
  to->Signed<channelTopicMessage::kTopicTypeFieldNumber>(from.topic);
  to->Signed<channelTopicMessage::kSrcNodeIdFieldNumber>(from.source);
  to->Signed<channelTopicMessage::kDstNodeIdFieldNumber>(from.destination);
  // The payload first: the length of its envelope may take two bytes.
  uint8_t payload[128];
  Writer inner(payload);
  Write(from.rotate, &inner);
  const auto size = static_cast<size_t>(inner.position() - payload);
  const std::string& url = RotateTypeUrl();
  to->Varint(Tag(channelTopicMessage::kDataFieldNumber, kBytes));
  to->Varint(2 + url.size() + (size == 0 ? 0 : 2 + size));
  to->Bytes<Any::kTypeUrlFieldNumber>(url);
  to->Bytes<Any::kValueFieldNumber>(
      {reinterpret_cast<const char*>(payload), size});
}

bool Read(std::string_view bytes, sample::Envelope* to) {
  to->topic = to->source = to->destination = 0;
  std::string_view data;
  Reader from(bytes);
  while (const uint8_t tag = from.Next()) {
    switch (tag) {
      case First(channelTopicMessage::kTopicTypeFieldNumber, kVarint):
        from.Read(&to->topic);
        break;
      case First(channelTopicMessage::kSrcNodeIdFieldNumber, kVarint):
        from.Read(&to->source);
        break;
      case First(channelTopicMessage::kDstNodeIdFieldNumber, kVarint):
        from.Read(&to->destination);
        break;
      case First(channelTopicMessage::kDataFieldNumber, kBytes):
        data = from.Bytes();
        break;
      default:
        return false;
    }
  }
  std::string_view type_url, value;
  Reader any(data);
  while (const uint8_t tag = any.Next()) {
    switch (tag) {
      case First(Any::kTypeUrlFieldNumber, kBytes):
        type_url = any.Bytes();
        break;
      case First(Any::kValueFieldNumber, kBytes):
        value = any.Bytes();
        break;
      default:
        return false;
    }
  }
  return from.good() && any.good() && type_url == RotateTypeUrl() &&
         Read(value, &to->rotate);
}

template <int kField>
void Write(const sample::Quaternion& from, Writer* to) {
  to->Record<kField>([&] {
    to->Float<Quaternion4f::kQ0FieldNumber>(from[0]);
    to->Float<Quaternion4f::kQ1FieldNumber>(from[1]);
    to->Float<Quaternion4f::kQ2FieldNumber>(from[2]);
    to->Float<Quaternion4f::kQ3FieldNumber>(from[3]);
  });
}

template <int kField>
void Write(const sample::Vector& from, Writer* to) {
  to->Record<kField>([&] {
    to->Float<Vector3f::kXFieldNumber>(from[0]);
    to->Float<Vector3f::kYFieldNumber>(from[1]);
    to->Float<Vector3f::kZFieldNumber>(from[2]);
  });
}

// Quaternions and vectors number their figures from 1.
template <size_t kSize>
bool Read(std::string_view bytes, std::array<float, kSize>* to) {
  Reader from(bytes);
  while (const uint8_t tag = from.Next()) {
    const size_t field = tag >> 3;
    if (tag != First(static_cast<int>(field), kFixed32) || field - 1 >= kSize) {
      return false;
    }
    from.Read(&(*to)[field - 1]);
  }
  return from.good();
}

void Write(const sample::Imu& from, Writer* to) {
  to->Signed<ImuAttiNaviData::kVersionFieldNumber>(from.version);
  to->Number<ImuAttiNaviData::kFlagFieldNumber>(from.flag);
  to->Float<ImuAttiNaviData::kPnXFieldNumber>(from.position[0]);
  to->Float<ImuAttiNaviData::kPnYFieldNumber>(from.position[1]);
  to->Float<ImuAttiNaviData::kPnZFieldNumber>(from.position[2]);
  to->Float<ImuAttiNaviData::kVnXFieldNumber>(from.velocity[0]);
  to->Float<ImuAttiNaviData::kVnYFieldNumber>(from.velocity[1]);
  to->Float<ImuAttiNaviData::kVnZFieldNumber>(from.velocity[2]);
  to->Float<ImuAttiNaviData::kAnXFieldNumber>(from.acceleration[0]);
  to->Float<ImuAttiNaviData::kAnYFieldNumber>(from.acceleration[1]);
  to->Float<ImuAttiNaviData::kAnZFieldNumber>(from.acceleration[2]);
  Write<ImuAttiNaviData::kQFieldNumber>(from.q, to);
  to->Signed<ImuAttiNaviData::kCountFieldNumber>(from.count);
  to->Number<ImuAttiNaviData::kTimestampFieldNumber>(from.timestamp);
}

bool Read(std::string_view bytes, sample::Imu* to) {
  *to = {};
  Reader from(bytes);
  while (const uint8_t tag = from.Next()) {
    switch (tag) {
      case First(ImuAttiNaviData::kVersionFieldNumber, kVarint):
        from.Read(&to->version);
        break;
      case First(ImuAttiNaviData::kFlagFieldNumber, kVarint):
        from.Read(&to->flag);
        break;
      case First(ImuAttiNaviData::kPnXFieldNumber, kFixed32):
        from.Read(&to->position[0]);
        break;
      case First(ImuAttiNaviData::kPnYFieldNumber, kFixed32):
        from.Read(&to->position[1]);
        break;
      case First(ImuAttiNaviData::kPnZFieldNumber, kFixed32):
        from.Read(&to->position[2]);
        break;
      case First(ImuAttiNaviData::kVnXFieldNumber, kFixed32):
        from.Read(&to->velocity[0]);
        break;
      case First(ImuAttiNaviData::kVnYFieldNumber, kFixed32):
        from.Read(&to->velocity[1]);
        break;
      case First(ImuAttiNaviData::kVnZFieldNumber, kFixed32):
        from.Read(&to->velocity[2]);
        break;
      case First(ImuAttiNaviData::kAnXFieldNumber, kFixed32):
        from.Read(&to->acceleration[0]);
        break;
      case First(ImuAttiNaviData::kAnYFieldNumber, kFixed32):
        from.Read(&to->acceleration[1]);
        break;
      case First(ImuAttiNaviData::kAnZFieldNumber, kFixed32):
        from.Read(&to->acceleration[2]);
        break;
      case First(ImuAttiNaviData::kQFieldNumber, kBytes):
        if (!Read(from.Bytes(), &to->q)) return false;
        break;
      case First(ImuAttiNaviData::kCountFieldNumber, kVarint):
        from.Read(&to->count);
        break;
      case First(ImuAttiNaviData::kTimestampFieldNumber, kVarint):
        from.Read(&to->timestamp);
        break;
      default:
        return false;
    }
  }
  return from.good();
}

void Write(const sample::HardSync& from, Writer* to) {
  to->Number<hardSync::kTimestampFieldNumber>(from.timestamp);
  Write<hardSync::kQFieldNumber>(from.q, to);
  Write<hardSync::kAFieldNumber>(from.a, to);
  Write<hardSync::kWFieldNumber>(from.w, to);
}

bool Read(std::string_view bytes, sample::HardSync* to) {
  *to = {};
  Reader from(bytes);
  while (const uint8_t tag = from.Next()) {
    switch (tag) {
      case First(hardSync::kTimestampFieldNumber, kVarint):
        from.Read(&to->timestamp);
        break;
      case First(hardSync::kQFieldNumber, kBytes):
        if (!Read(from.Bytes(), &to->q)) return false;
        break;
      case First(hardSync::kAFieldNumber, kBytes):
        if (!Read(from.Bytes(), &to->a)) return false;
        break;
      case First(hardSync::kWFieldNumber, kBytes):
        if (!Read(from.Bytes(), &to->w)) return false;
        break;
      default:
        return false;
    }
  }
  return from.good();
}

void Write(const sample::Battery& from, Writer* to) {
  to->Signed<SingleBatteryInfo::kBatteryIndexFieldNumber>(from.index);
  to->Signed<SingleBatteryInfo::kCurrentVoltageFieldNumber>(from.voltage);
  to->Signed<SingleBatteryInfo::kCurrentElectricFieldNumber>(from.current);
  to->Signed<SingleBatteryInfo::kFullCapacityFieldNumber>(from.full);
  to->Signed<SingleBatteryInfo::kRemainedCapacityFieldNumber>(from.remained);
  to->Signed<SingleBatteryInfo::kBatteryTemperatureFieldNumber>(
      from.temperature);
  to->Signed<SingleBatteryInfo::kCellCountFieldNumber>(from.cells);
  to->Signed<SingleBatteryInfo::kBatteryCapacityPercentFieldNumber>(
      from.percent);
  to->Number<SingleBatteryInfo::kBatteryStateFieldNumber>(from.state);
  to->Number<SingleBatteryInfo::kBatterySOPFieldNumber>(from.sop);
}

bool Read(std::string_view bytes, sample::Battery* to) {
  *to = {};
  Reader from(bytes);
  while (const uint8_t tag = from.Next()) {
    switch (tag) {
      case First(SingleBatteryInfo::kBatteryIndexFieldNumber, kVarint):
        from.Read(&to->index);
        break;
      case First(SingleBatteryInfo::kCurrentVoltageFieldNumber, kVarint):
        from.Read(&to->voltage);
        break;
      case First(SingleBatteryInfo::kCurrentElectricFieldNumber, kVarint):
        from.Read(&to->current);
        break;
      case First(SingleBatteryInfo::kFullCapacityFieldNumber, kVarint):
        from.Read(&to->full);
        break;
      case First(SingleBatteryInfo::kRemainedCapacityFieldNumber, kVarint):
        from.Read(&to->remained);
        break;
      case First(SingleBatteryInfo::kBatteryTemperatureFieldNumber, kVarint):
        from.Read(&to->temperature);
        break;
      case First(SingleBatteryInfo::kCellCountFieldNumber, kVarint):
        from.Read(&to->cells);
        break;
      case First(SingleBatteryInfo::kBatteryCapacityPercentFieldNumber,
                 kVarint):
        from.Read(&to->percent);
        break;
      case First(SingleBatteryInfo::kBatteryStateFieldNumber, kVarint):
        from.Read(&to->state);
        break;
      case First(SingleBatteryInfo::kBatterySOPFieldNumber, kVarint):
        from.Read(&to->sop);
        break;
      default:
        return false;
    }
  }
  return from.good();
}

void Write(const sample::Target& from, Writer* to) {
  to->Number<singleTargetInfo::kTNumFieldNumber>(from.num);
  to->Number<singleTargetInfo::kTTypeFieldNumber>(from.type);
  to->Number<singleTargetInfo::kTCalCntFieldNumber>(from.cal_cnt);
  to->Number<singleTargetInfo::kTWorkStatusFieldNumber>(from.work_status);
  to->Number<singleTargetInfo::kTTimeCreateFieldNumber>(from.time_create);
  to->Number<singleTargetInfo::kTTimeTestFieldNumber>(from.time_test);
  to->Number<singleTargetInfo::kTSigBandFieldNumber>(from.sig_band);
  to->Number<singleTargetInfo::kTDistanceFieldNumber>(from.distance);
  to->Number<singleTargetInfo::kTFreqFieldNumber>(from.freq);
  to->Number<singleTargetInfo::kTAmpFieldNumber>(from.amp);
  to->Number<singleTargetInfo::kTmFwFieldNumber>(Zigzag(from.tm_fw));
  to->Number<singleTargetInfo::kTmFyFieldNumber>(Zigzag(from.tm_fy));
  to->Number<singleTargetInfo::kTfFwFieldNumber>(Zigzag(from.tf_fw));
  to->Number<singleTargetInfo::kTfFyFieldNumber>(Zigzag(from.tf_fy));
  to->Number<singleTargetInfo::kTConfidenceLevelFieldNumber>(from.confidence);
  to->Number<singleTargetInfo::kTTimeOffsetFieldNumber>(from.time_offset);
  to->Bytes<singleTargetInfo::kTNameFieldNumber>(from.name);
}

bool Read(std::string_view bytes, sample::Target* to) {
  *to = {};
  Reader from(bytes);
  while (const uint8_t tag = from.Next()) {
    switch (tag) {
      case First(singleTargetInfo::kTNumFieldNumber, kVarint):
        from.Read(&to->num);
        break;
      case First(singleTargetInfo::kTTypeFieldNumber, kVarint):
        from.Read(&to->type);
        break;
      case First(singleTargetInfo::kTCalCntFieldNumber, kVarint):
        from.Read(&to->cal_cnt);
        break;
      case First(singleTargetInfo::kTWorkStatusFieldNumber, kVarint):
        from.Read(&to->work_status);
        break;
      case First(singleTargetInfo::kTTimeCreateFieldNumber, kVarint):
        from.Read(&to->time_create);
        break;
      case First(singleTargetInfo::kTTimeTestFieldNumber, kVarint):
        from.Read(&to->time_test);
        break;
      case First(singleTargetInfo::kTSigBandFieldNumber, kVarint):
        from.Read(&to->sig_band);
        break;
      case First(singleTargetInfo::kTDistanceFieldNumber, kVarint):
        from.Read(&to->distance);
        break;
      case First(singleTargetInfo::kTFreqFieldNumber, kVarint):
        from.Read(&to->freq);
        break;
      case First(singleTargetInfo::kTAmpFieldNumber, kVarint):
        from.Read(&to->amp);
        break;
      case First(singleTargetInfo::kTmFwFieldNumber, kVarint):
        from.ReadZigzag(&to->tm_fw);
        break;
      case First(singleTargetInfo::kTmFyFieldNumber, kVarint):
        from.ReadZigzag(&to->tm_fy);
        break;
      case First(singleTargetInfo::kTfFwFieldNumber, kVarint):
        from.ReadZigzag(&to->tf_fw);
        break;
      case First(singleTargetInfo::kTfFyFieldNumber, kVarint):
        from.ReadZigzag(&to->tf_fy);
        break;
      case First(singleTargetInfo::kTConfidenceLevelFieldNumber, kVarint):
        from.Read(&to->confidence);
        break;
      case First(singleTargetInfo::kTTimeOffsetFieldNumber, kVarint):
        from.Expect(1);
        from.Read(&to->time_offset);
        break;
      case First(singleTargetInfo::kTNameFieldNumber, kBytes):
        from.Expect(1);
        to->name = from.Bytes();
        break;
      default:
        return false;
    }
  }
  return from.good();
}

void Write(const sample::Tracer& from, Writer* to) {
  to->Number<tracerMeasureInfoMessage::kFrameNumFieldNumber>(from.frame);
  to->Number<tracerMeasureInfoMessage::kWorkStatusFieldNumber>(
      from.work_status);
  to->Number<tracerMeasureInfoMessage::kTarNumFieldNumber>(from.target_number);
  for (uint32_t i = 0; i < from.targets_used; ++i) {
    to->Record<tracerMeasureInfoMessage::kTarInfoFieldNumber>(
        [&] { Write(from.targets[i], to); });
  }
  to->Number<tracerMeasureInfoMessage::kWorkModeFieldNumber>(from.work_mode);
}

bool Read(std::string_view bytes, sample::Tracer* to) {
  to->frame = to->work_status = to->target_number = 0;
  to->work_mode = to->targets_used = 0;
  Reader from(bytes);
  while (const uint8_t tag = from.Next()) {
    switch (tag) {
      case First(tracerMeasureInfoMessage::kFrameNumFieldNumber, kVarint):
        from.Read(&to->frame);
        break;
      case First(tracerMeasureInfoMessage::kWorkStatusFieldNumber, kVarint):
        from.Read(&to->work_status);
        break;
      case First(tracerMeasureInfoMessage::kTarNumFieldNumber, kVarint):
        from.Read(&to->target_number);
        break;
      case First(tracerMeasureInfoMessage::kTarInfoFieldNumber, kBytes):
        if (!Read(from.Bytes(), &to->targets.at(to->targets_used++))) {
          return false;
        }
        break;
      case First(tracerMeasureInfoMessage::kWorkModeFieldNumber, kVarint):
        from.Read(&to->work_mode);
        break;
      default:
        return false;
    }
  }
  return from.good();
}

void Write(const sample::Stream& from, Writer* to) {
  to->Signed<responseData::kOffsetFieldNumber>(from.offset);
  to->Signed<responseData::kLengthFieldNumber>(from.length);
  to->Bytes<responseData::kSessionFieldNumber>(from.session);
  to->Bytes<responseData::kDataFieldNumber>(from.data);
}

bool Read(std::string_view bytes, sample::Stream* to) {
  *to = {};
  Reader from(bytes);
  while (const uint8_t tag = from.Next()) {
    switch (tag) {
      case First(responseData::kOffsetFieldNumber, kVarint):
        from.Read(&to->offset);
        break;
      case First(responseData::kLengthFieldNumber, kVarint):
        from.Read(&to->length);
        break;
      case First(responseData::kSessionFieldNumber, kBytes):
        to->session = from.Bytes();
        break;
      case First(responseData::kDataFieldNumber, kBytes):
        to->data = from.Bytes();
        break;
      default:
        return false;
    }
  }
  return from.good();
}

class HandWrittenCodec {
 public:
  template <typename Sample>
  std::string_view Encode(const Sample& sample) {
    Writer writer(buffer_);
    Write(sample, &writer);
    return {reinterpret_cast<const char*>(buffer_),
            static_cast<size_t>(writer.position() - buffer_)};
  }

  template <typename Sample>
  bool Decode(const std::string& bytes, Sample* sample) {
    return Read(bytes, sample);
  }

 private:
  uint8_t buffer_[8192];
};

}  // namespace

void RegisterHandWritten() { Register<HandWrittenCodec>("hand-written"); }
