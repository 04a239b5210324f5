// nanopb: plain structures without a heap, walked by tables. Reads and writes
// the library's bytes.
#include <pb_decode.h>
#include <pb_encode.h>

#include <algorithm>
#include <cstring>

#include "channelMessage.nano.h"
#include "codec.h"
#include "gimbalMessage.nano.h"
#include "sdkSubMessage.nano.h"
#include "streamMessage.nano.h"
#include "tracerMessage.nano.h"

namespace {

// A record within another and its presence, or records and their number.
template <typename Has, typename Records>
auto TieWithin(Has& has, Records& records) {
  return std::make_tuple(std::tie(has, records));
}

// The fields in the order of the sample's.
auto Tie(zorvik_gimbal_relativeAngleRotationMessage& r) {
  return std::tie(r.actionTime);
}
auto Tie(zorvik_gimbal_UavGimbalRotationPropertyMessage& r) {
  return TieWithin(r.has_relativeAngleRotation, r.relativeAngleRotation);
}
auto Tie(zorvik_gimbal_GimbalAttitude3d& r) {
  return std::tie(r.pitch, r.roll, r.yaw);
}
auto Tie(zorvik_gimbal_UavGimbalRotateReqMessage& r) {
  return std::tuple_cat(std::tie(r.seq, r.rotationMode),
                        TieWithin(r.has_rotationProperty, r.rotationProperty),
                        TieWithin(r.has_rotationValue, r.rotationValue));
}
auto Tie(zorvik_channel_channelTopicMessage& r) {
  return std::tie(r.topic_type, r.src_node_id, r.dst_node_id);
}
auto Tie(zorvik_sdksub_Vector3f& r) { return std::tie(r.x, r.y, r.z); }
auto Tie(zorvik_sdksub_Quaternion4f& r) {
  return std::tie(r.q0, r.q1, r.q2, r.q3);
}
auto Tie(zorvik_sdksub_ImuAttiNaviData& r) {
  return std::tuple_cat(
      std::tie(r.version, r.flag, r.pn_x, r.pn_y, r.pn_z, r.vn_x, r.vn_y,
               r.vn_z, r.an_x, r.an_y, r.an_z),
      TieWithin(r.has_q, r.q), std::tie(r.count, r.timestamp));
}
auto Tie(zorvik_sdksub_hardSync& r) {
  return std::tuple_cat(std::tie(r.timestamp), TieWithin(r.has_q, r.q),
                        TieWithin(r.has_a, r.a), TieWithin(r.has_w, r.w));
}
auto Tie(zorvik_sdksub_SingleBatteryInfo& r) {
  return std::tie(r.batteryIndex, r.currentVoltage, r.currentElectric,
                  r.fullCapacity, r.remainedCapacity, r.batteryTemperature,
                  r.cellCount, r.batteryCapacityPercent, r.batteryState,
                  r.batterySOP);
}
auto Tie(zorvik_protocol_singleTargetInfo& r) {
  return std::tie(r.tNum, r.tType, r.tCalCnt, r.tWorkStatus, r.tTimeCreate,
                  r.tTimeTest, r.tSigBand, r.tDistance, r.tFreq, r.tAmp, r.tmFw,
                  r.tmFy, r.tfFw, r.tfFy, r.tConfidenceLevel, r.tTimeOffset,
                  r.tName);
}
auto Tie(zorvik_protocol_tracerMeasureInfoMessage& r) {
  return std::tuple_cat(std::tie(r.frameNum, r.workStatus, r.tarNum),
                        TieWithin(r.tarInfo_count, r.tarInfo),
                        std::tie(r.workMode));
}
auto Tie(zorvik_stream_responseData& r) {
  return std::tie(r.offset, r.length, r.session);
}

template <typename Record, typename Peer>
void CopyFields(Record& record, Peer& peer);

// Copies a const value to nanopb's field, and another from it.
template <typename Value, typename Field>
void Copy(Value& value, Field& field) {
  using Plain = std::remove_const_t<Value>;
  constexpr bool kFill = std::is_const_v<Value>;
  if constexpr (std::is_arithmetic_v<Plain> && kFill) {
    field = static_cast<Field>(value);
  } else if constexpr (std::is_arithmetic_v<Plain>) {
    value = static_cast<Plain>(field);
  } else if constexpr (records::kIsText<Plain> && kFill) {
    const size_t size = std::min(value.size(), sizeof field - 1);
    std::memcpy(field, value.data(), size);
    field[size] = '\0';
  } else if constexpr (records::kIsText<Plain>) {
    value = field;
  } else if constexpr (records::kIsRepeated<Plain>) {
    auto& [count, records] = field;
    if constexpr (kFill) {
      count = static_cast<pb_size_t>(value.size());
    } else {
      value.resize(count);
    }
    for (size_t i = 0; i < value.size(); ++i) CopyFields(value[i], records[i]);
  } else {
    auto& [has, record] = field;
    if constexpr (kFill) has = true;
    CopyFields(value, record);
  }
}

template <typename Record, typename Peer>
void CopyFields(Record& record, Peer& peer) {
  std::apply(
      [&](auto&&... field) {
        std::apply([&](auto&... value) { (Copy(value, field), ...); },
                   record.values);
      },
      Tie(peer));
}

class NanopbCodec {
 public:
  static constexpr const char* kName = "nanopb";

  template <typename Sample>
  std::string_view Encode(const Sample& sample) {
    auto& message = Of(sample);
    CopyFields(sample, message);
    if constexpr (std::is_same_v<Sample, sample::Envelope>) {
      message.has_data = true;
      Copy(kRotateTypeUrl, message.data.type_url);
      CopyFields(sample.rotate, rotate_);
      auto& value = message.data.value;
      value.size = Write(rotate_, value.bytes, sizeof value.bytes);
    }
    if constexpr (std::is_same_v<Sample, sample::Stream>) {
      auto& data = message.data;
      data.size = static_cast<pb_size_t>(
          std::min(sample.data.size(), sizeof data.bytes));
      std::memcpy(data.bytes, sample.data.data(), data.size);
    }
    const size_t size = Write(message, buffer_, sizeof buffer_);
    return {reinterpret_cast<const char*>(buffer_), size};
  }

  template <typename Sample>
  bool Decode(const std::string& bytes, Sample* sample) {
    auto& message = Of(*sample);
    if (!Parse(bytes, &message)) return false;
    CopyFields(*sample, message);
    if constexpr (std::is_same_v<Sample, sample::Envelope>) {
      if (message.data.type_url != kRotateTypeUrl ||
          !Parse(View(message.data.value), &rotate_)) {
        return false;
      }
      CopyFields(sample->rotate, rotate_);
    }
    if constexpr (std::is_same_v<Sample, sample::Stream>) {
      sample->data = View(message.data);
    }
    return true;
  }

 private:
  template <typename Message>
  static pb_size_t Write(const Message& message, pb_byte_t* to, size_t room) {
    pb_ostream_t stream = pb_ostream_from_buffer(to, room);
    const bool good = pb_encode(
        &stream, nanopb::MessageDescriptor<Message>::fields(), &message);
    return static_cast<pb_size_t>(good ? stream.bytes_written : 0);
  }

  template <typename Message>
  static bool Parse(std::string_view bytes, Message* message) {
    pb_istream_t stream = pb_istream_from_buffer(
        reinterpret_cast<const pb_byte_t*>(bytes.data()), bytes.size());
    return pb_decode(&stream, nanopb::MessageDescriptor<Message>::fields(),
                     message);
  }

  template <typename Bytes>
  static std::string_view View(const Bytes& bytes) {
    return {reinterpret_cast<const char*>(bytes.bytes), bytes.size};
  }

  auto& Of(const sample::Rotate&) { return rotate_; }
  auto& Of(const sample::Envelope&) { return envelope_; }
  auto& Of(const sample::Imu&) { return imu_; }
  auto& Of(const sample::HardSync&) { return hard_sync_; }
  auto& Of(const sample::Battery&) { return battery_; }
  auto& Of(const sample::Tracer&) { return tracer_; }
  auto& Of(const sample::Stream&) { return stream_; }

  pb_byte_t buffer_[8192];
  zorvik_gimbal_UavGimbalRotateReqMessage rotate_{};
  zorvik_channel_channelTopicMessage envelope_{};
  zorvik_sdksub_ImuAttiNaviData imu_{};
  zorvik_sdksub_hardSync hard_sync_{};
  zorvik_sdksub_SingleBatteryInfo battery_{};
  zorvik_protocol_tracerMeasureInfoMessage tracer_{};
  zorvik_stream_responseData stream_{};
};

}  // namespace

void RegisterNanopb() { Register<NanopbCodec>(); }
