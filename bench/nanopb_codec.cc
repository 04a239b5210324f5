// nanopb: plain structures without a heap, walked by tables. Reads and writes
// the library's bytes.
#include <pb_decode.h>
#include <pb_encode.h>

#include <cstring>

#include "channelMessage.nano.h"
#include "codec.h"
#include "gimbalMessage.nano.h"
#include "sdkSubMessage.nano.h"
#include "streamMessage.nano.h"
#include "tracerMessage.nano.h"

namespace {

using Rotate = zorvik_gimbal_UavGimbalRotateReqMessage;

const pb_msgdesc_t* const kRotate =
    zorvik_gimbal_UavGimbalRotateReqMessage_fields;

template <size_t kSize>
void CopyText(std::string_view from, char (&to)[kSize]) {
  const size_t size = std::min(from.size(), kSize - 1);
  std::memcpy(to, from.data(), size);
  to[size] = '\0';
}

template <typename Bytes>
void CopyBytes(std::string_view from, Bytes* to) {
  to->size = static_cast<pb_size_t>(std::min(from.size(), sizeof to->bytes));
  std::memcpy(to->bytes, from.data(), to->size);
}

template <typename Bytes>
std::string_view View(const Bytes& bytes) {
  return {reinterpret_cast<const char*>(bytes.bytes), bytes.size};
}

void Fill(const sample::Rotate& from, Rotate* to) {
  to->seq = from.seq;
  to->rotationMode =
      static_cast<zorvik_gimbal_eUAVGimbalRotationMode>(from.mode);
  to->has_rotationProperty = true;
  to->rotationProperty.has_relativeAngleRotation = true;
  to->rotationProperty.relativeAngleRotation.actionTime = from.action_time;
  to->has_rotationValue = true;
  to->rotationValue = {from.pitch, from.roll, from.yaw};
}

void Read(const Rotate& from, sample::Rotate* to) {
  to->seq = from.seq;
  to->mode = static_cast<int32_t>(from.rotationMode);
  to->action_time = from.rotationProperty.relativeAngleRotation.actionTime;
  to->pitch = from.rotationValue.pitch;
  to->roll = from.rotationValue.roll;
  to->yaw = from.rotationValue.yaw;
}

void Fill(const sample::Target& from, zorvik_protocol_singleTargetInfo* to) {
  to->tNum = from.num;
  to->tType = from.type;
  to->tCalCnt = from.cal_cnt;
  to->tWorkStatus = from.work_status;
  to->tTimeCreate = from.time_create;
  to->tTimeTest = from.time_test;
  to->tSigBand = from.sig_band;
  to->tDistance = from.distance;
  to->tFreq = from.freq;
  to->tAmp = from.amp;
  to->tmFw = from.tm_fw;
  to->tmFy = from.tm_fy;
  to->tfFw = from.tf_fw;
  to->tfFy = from.tf_fy;
  to->tConfidenceLevel = from.confidence;
  to->tTimeOffset = from.time_offset;
  CopyText(from.name, to->tName);
}

void Read(const zorvik_protocol_singleTargetInfo& from, sample::Target* to) {
  *to = {from.tNum,        from.tType,       from.tCalCnt,
         from.tWorkStatus, from.tTimeCreate, from.tTimeTest,
         from.tSigBand,    from.tDistance,   from.tFreq,
         from.tAmp,        from.tmFw,        from.tmFy,
         from.tfFw,        from.tfFy,        from.tConfidenceLevel,
         from.tTimeOffset, from.tName};
}

class NanopbCodec {
 public:
  std::string_view Encode(const sample::Rotate& sample) {
    Fill(sample, &rotate_);
    return Write(kRotate, &rotate_);
  }
  bool Decode(const std::string& bytes, sample::Rotate* sample) {
    if (!Parse(kRotate, bytes, &rotate_)) return false;
    Read(rotate_, sample);
    return true;
  }

  std::string_view Encode(const sample::Envelope& sample) {
    envelope_.topic_type = sample.topic;
    envelope_.src_node_id = sample.source;
    envelope_.dst_node_id = sample.destination;
    envelope_.has_data = true;
    CopyText(RotateTypeUrl(), envelope_.data.type_url);
    Fill(sample.rotate, &rotate_);
    auto& value = envelope_.data.value;
    pb_ostream_t stream =
        pb_ostream_from_buffer(value.bytes, sizeof value.bytes);
    if (!pb_encode(&stream, kRotate, &rotate_)) return {};
    value.size = static_cast<pb_size_t>(stream.bytes_written);
    return Write(zorvik_channel_channelTopicMessage_fields, &envelope_);
  }
  bool Decode(const std::string& bytes, sample::Envelope* sample) {
    if (!Parse(zorvik_channel_channelTopicMessage_fields, bytes, &envelope_)) {
      return false;
    }
    sample->topic = envelope_.topic_type;
    sample->source = envelope_.src_node_id;
    sample->destination = envelope_.dst_node_id;
    if (envelope_.data.type_url != RotateTypeUrl() ||
        !Parse(kRotate, View(envelope_.data.value), &rotate_)) {
      return false;
    }
    Read(rotate_, &sample->rotate);
    return true;
  }

  std::string_view Encode(const sample::Imu& sample) {
    imu_.version = sample.version;
    imu_.flag = sample.flag;
    imu_.pn_x = sample.position[0];
    imu_.pn_y = sample.position[1];
    imu_.pn_z = sample.position[2];
    imu_.vn_x = sample.velocity[0];
    imu_.vn_y = sample.velocity[1];
    imu_.vn_z = sample.velocity[2];
    imu_.an_x = sample.acceleration[0];
    imu_.an_y = sample.acceleration[1];
    imu_.an_z = sample.acceleration[2];
    imu_.has_q = true;
    imu_.q = {sample.q[0], sample.q[1], sample.q[2], sample.q[3]};
    imu_.count = sample.count;
    imu_.timestamp = sample.timestamp;
    return Write(zorvik_sdksub_ImuAttiNaviData_fields, &imu_);
  }
  bool Decode(const std::string& bytes, sample::Imu* sample) {
    if (!Parse(zorvik_sdksub_ImuAttiNaviData_fields, bytes, &imu_)) {
      return false;
    }
    sample->version = imu_.version;
    sample->flag = imu_.flag;
    sample->position = {imu_.pn_x, imu_.pn_y, imu_.pn_z};
    sample->velocity = {imu_.vn_x, imu_.vn_y, imu_.vn_z};
    sample->acceleration = {imu_.an_x, imu_.an_y, imu_.an_z};
    sample->q = {imu_.q.q0, imu_.q.q1, imu_.q.q2, imu_.q.q3};
    sample->count = imu_.count;
    sample->timestamp = imu_.timestamp;
    return true;
  }

  std::string_view Encode(const sample::HardSync& sample) {
    hard_sync_ = {sample.timestamp,
                  true,
                  {sample.q[0], sample.q[1], sample.q[2], sample.q[3]},
                  true,
                  {sample.a[0], sample.a[1], sample.a[2]},
                  true,
                  {sample.w[0], sample.w[1], sample.w[2]}};
    return Write(zorvik_sdksub_hardSync_fields, &hard_sync_);
  }
  bool Decode(const std::string& bytes, sample::HardSync* sample) {
    if (!Parse(zorvik_sdksub_hardSync_fields, bytes, &hard_sync_)) return false;
    const zorvik_sdksub_hardSync& from = hard_sync_;
    sample->timestamp = from.timestamp;
    sample->q = {from.q.q0, from.q.q1, from.q.q2, from.q.q3};
    sample->a = {from.a.x, from.a.y, from.a.z};
    sample->w = {from.w.x, from.w.y, from.w.z};
    return true;
  }

  std::string_view Encode(const sample::Battery& sample) {
    battery_ = {sample.index, sample.voltage,  sample.current,
                sample.full,  sample.remained, sample.temperature,
                sample.cells, sample.percent,  sample.state,
                sample.sop};
    return Write(zorvik_sdksub_SingleBatteryInfo_fields, &battery_);
  }
  bool Decode(const std::string& bytes, sample::Battery* sample) {
    if (!Parse(zorvik_sdksub_SingleBatteryInfo_fields, bytes, &battery_)) {
      return false;
    }
    const zorvik_sdksub_SingleBatteryInfo& from = battery_;
    *sample = {from.batteryIndex,     from.currentVoltage,
               from.currentElectric,  from.fullCapacity,
               from.remainedCapacity, from.batteryTemperature,
               from.cellCount,        from.batteryCapacityPercent,
               from.batteryState,     from.batterySOP};
    return true;
  }

  std::string_view Encode(const sample::Tracer& sample) {
    tracer_.frameNum = sample.frame;
    tracer_.workStatus = sample.work_status;
    tracer_.tarNum = sample.target_number;
    tracer_.workMode = sample.work_mode;
    tracer_.tarInfo_count = static_cast<pb_size_t>(sample.targets_used);
    for (uint32_t i = 0; i < sample.targets_used; ++i) {
      Fill(sample.targets[i], &tracer_.tarInfo[i]);
    }
    return Write(zorvik_protocol_tracerMeasureInfoMessage_fields, &tracer_);
  }
  bool Decode(const std::string& bytes, sample::Tracer* sample) {
    if (!Parse(zorvik_protocol_tracerMeasureInfoMessage_fields, bytes,
               &tracer_)) {
      return false;
    }
    sample->frame = tracer_.frameNum;
    sample->work_status = tracer_.workStatus;
    sample->target_number = tracer_.tarNum;
    sample->work_mode = tracer_.workMode;
    sample->targets_used = tracer_.tarInfo_count;
    for (uint32_t i = 0; i < sample->targets_used; ++i) {
      Read(tracer_.tarInfo[i], &sample->targets[i]);
    }
    return true;
  }

  std::string_view Encode(const sample::Stream& sample) {
    stream_.offset = sample.offset;
    stream_.length = sample.length;
    CopyText(sample.session, stream_.session);
    CopyBytes(sample.data, &stream_.data);
    return Write(zorvik_stream_responseData_fields, &stream_);
  }
  bool Decode(const std::string& bytes, sample::Stream* sample) {
    if (!Parse(zorvik_stream_responseData_fields, bytes, &stream_)) {
      return false;
    }
    *sample = {stream_.offset, stream_.length, stream_.session,
               View(stream_.data)};
    return true;
  }

 private:
  std::string_view Write(const pb_msgdesc_t* type, const void* message) {
    pb_ostream_t stream = pb_ostream_from_buffer(buffer_, sizeof buffer_);
    if (!pb_encode(&stream, type, message)) return {};
    return {reinterpret_cast<const char*>(buffer_), stream.bytes_written};
  }

  static bool Parse(const pb_msgdesc_t* type, std::string_view bytes,
                    void* message) {
    pb_istream_t stream = pb_istream_from_buffer(
        reinterpret_cast<const pb_byte_t*>(bytes.data()), bytes.size());
    return pb_decode(&stream, type, message);
  }

  pb_byte_t buffer_[8192];
  Rotate rotate_{};
  zorvik_channel_channelTopicMessage envelope_{};
  zorvik_sdksub_ImuAttiNaviData imu_{};
  zorvik_sdksub_hardSync hard_sync_{};
  zorvik_sdksub_SingleBatteryInfo battery_{};
  zorvik_protocol_tracerMeasureInfoMessage tracer_{};
  zorvik_stream_responseData stream_{};
};

}  // namespace

void RegisterNanopb() { Register<NanopbCodec>("nanopb"); }
