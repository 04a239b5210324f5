// protozero: no objects, the program walks the fields. Reads and writes the
// library's bytes.
#include <protozero/pbf_reader.hpp>
#include <protozero/pbf_writer.hpp>

#include "codec.h"
#include "library_records.h"

namespace {

using google::protobuf::Any;
using protozero::pbf_reader;
using protozero::pbf_writer;
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

// protozero writes what it is told to; zero is not written in proto3.
void Add(pbf_writer* to, int field, int32_t value) {
  if (value != 0) to->add_int32(field, value);
}
void Add(pbf_writer* to, int field, uint32_t value) {
  if (value != 0) to->add_uint32(field, value);
}
void Add(pbf_writer* to, int field, int64_t value) {
  if (value != 0) to->add_int64(field, value);
}
void Add(pbf_writer* to, int field, uint64_t value) {
  if (value != 0) to->add_uint64(field, value);
}
void AddZigzag(pbf_writer* to, int field, int32_t value) {
  if (value != 0) to->add_sint32(field, value);
}
void Add(pbf_writer* to, int field, float value) {
  uint32_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  if (bits != 0) to->add_float(field, value);
}
void Add(pbf_writer* to, int field, std::string_view value) {
  if (!value.empty()) to->add_bytes(field, value.data(), value.size());
}

std::string_view View(protozero::data_view view) {
  return {view.data(), view.size()};
}

void Write(const sample::Rotate& from, pbf_writer* to) {
  Add(to, UavGimbalRotateReqMessage::kSeqFieldNumber, from.seq);
  Add(to, UavGimbalRotateReqMessage::kRotationModeFieldNumber, from.mode);
  {
    pbf_writer property(
        *to, UavGimbalRotateReqMessage::kRotationPropertyFieldNumber);
    pbf_writer relative(
        property,
        UavGimbalRotationPropertyMessage::kRelativeAngleRotationFieldNumber);
    Add(&relative, relativeAngleRotationMessage::kActionTimeFieldNumber,
        from.action_time);
  }
  pbf_writer value(*to, UavGimbalRotateReqMessage::kRotationValueFieldNumber);
  Add(&value, GimbalAttitude3d::kPitchFieldNumber, from.pitch);
  Add(&value, GimbalAttitude3d::kRollFieldNumber, from.roll);
  Add(&value, GimbalAttitude3d::kYawFieldNumber, from.yaw);
}

void Read(pbf_reader from, sample::Rotate* to) {
  while (from.next()) {
    switch (from.tag()) {
      case UavGimbalRotateReqMessage::kSeqFieldNumber:
        to->seq = from.get_uint32();
        break;
      case UavGimbalRotateReqMessage::kRotationModeFieldNumber:
        to->mode = from.get_enum();
        break;
      case UavGimbalRotateReqMessage::kRotationPropertyFieldNumber:
        for (pbf_reader property = from.get_message(); property.next();) {
          if (property.tag() != UavGimbalRotationPropertyMessage::
                                    kRelativeAngleRotationFieldNumber) {
            property.skip();
            continue;
          }
          for (pbf_reader relative = property.get_message(); relative.next();) {
            if (relative.tag() ==
                relativeAngleRotationMessage::kActionTimeFieldNumber) {
              to->action_time = relative.get_int32();
            } else {
              relative.skip();
            }
          }
        }
        break;
      case UavGimbalRotateReqMessage::kRotationValueFieldNumber:
        for (pbf_reader value = from.get_message(); value.next();) {
          switch (value.tag()) {
            case GimbalAttitude3d::kPitchFieldNumber:
              to->pitch = value.get_int32();
              break;
            case GimbalAttitude3d::kRollFieldNumber:
              to->roll = value.get_int32();
              break;
            case GimbalAttitude3d::kYawFieldNumber:
              to->yaw = value.get_int32();
              break;
            default:
              value.skip();
          }
        }
        break;
      default:
        from.skip();
    }
  }
}

void Write(const sample::Envelope& from, pbf_writer* to) {
  Add(to, channelTopicMessage::kTopicTypeFieldNumber, from.topic);
  Add(to, channelTopicMessage::kSrcNodeIdFieldNumber, from.source);
  Add(to, channelTopicMessage::kDstNodeIdFieldNumber, from.destination);
  pbf_writer data(*to, channelTopicMessage::kDataFieldNumber);
  Add(&data, Any::kTypeUrlFieldNumber, RotateTypeUrl());
  pbf_writer value(data, Any::kValueFieldNumber);
  Write(from.rotate, &value);
}

void Read(pbf_reader from, sample::Envelope* to) {
  std::string_view type_url;
  pbf_reader value;
  while (from.next()) {
    switch (from.tag()) {
      case channelTopicMessage::kTopicTypeFieldNumber:
        to->topic = from.get_int32();
        break;
      case channelTopicMessage::kSrcNodeIdFieldNumber:
        to->source = from.get_int32();
        break;
      case channelTopicMessage::kDstNodeIdFieldNumber:
        to->destination = from.get_int32();
        break;
      case channelTopicMessage::kDataFieldNumber:
        for (pbf_reader data = from.get_message(); data.next();) {
          if (data.tag() == Any::kTypeUrlFieldNumber) {
            type_url = View(data.get_view());
          } else if (data.tag() == Any::kValueFieldNumber) {
            value = data.get_message();
          } else {
            data.skip();
          }
        }
        break;
      default:
        from.skip();
    }
  }
  if (type_url == RotateTypeUrl()) Read(value, &to->rotate);
}

void Write(const sample::Quaternion& from, int field, pbf_writer* to) {
  pbf_writer q(*to, field);
  Add(&q, Quaternion4f::kQ0FieldNumber, from[0]);
  Add(&q, Quaternion4f::kQ1FieldNumber, from[1]);
  Add(&q, Quaternion4f::kQ2FieldNumber, from[2]);
  Add(&q, Quaternion4f::kQ3FieldNumber, from[3]);
}

void Write(const sample::Vector& from, int field, pbf_writer* to) {
  pbf_writer vector(*to, field);
  Add(&vector, Vector3f::kXFieldNumber, from[0]);
  Add(&vector, Vector3f::kYFieldNumber, from[1]);
  Add(&vector, Vector3f::kZFieldNumber, from[2]);
}

// Quaternions and vectors number their figures from 1.
static_assert(Quaternion4f::kQ0FieldNumber == 1 &&
              Quaternion4f::kQ3FieldNumber == 4 &&
              Vector3f::kXFieldNumber == 1 && Vector3f::kZFieldNumber == 3);

template <size_t kSize>
void Read(pbf_reader from, std::array<float, kSize>* to) {
  while (from.next()) {
    if (from.tag() - 1 < kSize) {
      (*to)[from.tag() - 1] = from.get_float();
    } else {
      from.skip();
    }
  }
}

void Write(const sample::Imu& from, pbf_writer* to) {
  Add(to, ImuAttiNaviData::kVersionFieldNumber, from.version);
  Add(to, ImuAttiNaviData::kFlagFieldNumber, from.flag);
  Add(to, ImuAttiNaviData::kPnXFieldNumber, from.position[0]);
  Add(to, ImuAttiNaviData::kPnYFieldNumber, from.position[1]);
  Add(to, ImuAttiNaviData::kPnZFieldNumber, from.position[2]);
  Add(to, ImuAttiNaviData::kVnXFieldNumber, from.velocity[0]);
  Add(to, ImuAttiNaviData::kVnYFieldNumber, from.velocity[1]);
  Add(to, ImuAttiNaviData::kVnZFieldNumber, from.velocity[2]);
  Add(to, ImuAttiNaviData::kAnXFieldNumber, from.acceleration[0]);
  Add(to, ImuAttiNaviData::kAnYFieldNumber, from.acceleration[1]);
  Add(to, ImuAttiNaviData::kAnZFieldNumber, from.acceleration[2]);
  Write(from.q, ImuAttiNaviData::kQFieldNumber, to);
  Add(to, ImuAttiNaviData::kCountFieldNumber, from.count);
  Add(to, ImuAttiNaviData::kTimestampFieldNumber, from.timestamp);
}

void Read(pbf_reader from, sample::Imu* to) {
  while (from.next()) {
    switch (from.tag()) {
      case ImuAttiNaviData::kVersionFieldNumber:
        to->version = from.get_int32();
        break;
      case ImuAttiNaviData::kFlagFieldNumber:
        to->flag = from.get_uint32();
        break;
      case ImuAttiNaviData::kPnXFieldNumber:
        to->position[0] = from.get_float();
        break;
      case ImuAttiNaviData::kPnYFieldNumber:
        to->position[1] = from.get_float();
        break;
      case ImuAttiNaviData::kPnZFieldNumber:
        to->position[2] = from.get_float();
        break;
      case ImuAttiNaviData::kVnXFieldNumber:
        to->velocity[0] = from.get_float();
        break;
      case ImuAttiNaviData::kVnYFieldNumber:
        to->velocity[1] = from.get_float();
        break;
      case ImuAttiNaviData::kVnZFieldNumber:
        to->velocity[2] = from.get_float();
        break;
      case ImuAttiNaviData::kAnXFieldNumber:
        to->acceleration[0] = from.get_float();
        break;
      case ImuAttiNaviData::kAnYFieldNumber:
        to->acceleration[1] = from.get_float();
        break;
      case ImuAttiNaviData::kAnZFieldNumber:
        to->acceleration[2] = from.get_float();
        break;
      case ImuAttiNaviData::kQFieldNumber:
        Read(from.get_message(), &to->q);
        break;
      case ImuAttiNaviData::kCountFieldNumber:
        to->count = from.get_int32();
        break;
      case ImuAttiNaviData::kTimestampFieldNumber:
        to->timestamp = from.get_uint64();
        break;
      default:
        from.skip();
    }
  }
}

void Write(const sample::HardSync& from, pbf_writer* to) {
  Add(to, hardSync::kTimestampFieldNumber, from.timestamp);
  Write(from.q, hardSync::kQFieldNumber, to);
  Write(from.a, hardSync::kAFieldNumber, to);
  Write(from.w, hardSync::kWFieldNumber, to);
}

void Read(pbf_reader from, sample::HardSync* to) {
  while (from.next()) {
    switch (from.tag()) {
      case hardSync::kTimestampFieldNumber:
        to->timestamp = from.get_uint64();
        break;
      case hardSync::kQFieldNumber:
        Read(from.get_message(), &to->q);
        break;
      case hardSync::kAFieldNumber:
        Read(from.get_message(), &to->a);
        break;
      case hardSync::kWFieldNumber:
        Read(from.get_message(), &to->w);
        break;
      default:
        from.skip();
    }
  }
}

void Write(const sample::Battery& from, pbf_writer* to) {
  Add(to, SingleBatteryInfo::kBatteryIndexFieldNumber, from.index);
  Add(to, SingleBatteryInfo::kCurrentVoltageFieldNumber, from.voltage);
  Add(to, SingleBatteryInfo::kCurrentElectricFieldNumber, from.current);
  Add(to, SingleBatteryInfo::kFullCapacityFieldNumber, from.full);
  Add(to, SingleBatteryInfo::kRemainedCapacityFieldNumber, from.remained);
  Add(to, SingleBatteryInfo::kBatteryTemperatureFieldNumber, from.temperature);
  Add(to, SingleBatteryInfo::kCellCountFieldNumber, from.cells);
  Add(to, SingleBatteryInfo::kBatteryCapacityPercentFieldNumber, from.percent);
  Add(to, SingleBatteryInfo::kBatteryStateFieldNumber, from.state);
  Add(to, SingleBatteryInfo::kBatterySOPFieldNumber, from.sop);
}

void Read(pbf_reader from, sample::Battery* to) {
  while (from.next()) {
    switch (from.tag()) {
      case SingleBatteryInfo::kBatteryIndexFieldNumber:
        to->index = from.get_int32();
        break;
      case SingleBatteryInfo::kCurrentVoltageFieldNumber:
        to->voltage = from.get_int32();
        break;
      case SingleBatteryInfo::kCurrentElectricFieldNumber:
        to->current = from.get_int32();
        break;
      case SingleBatteryInfo::kFullCapacityFieldNumber:
        to->full = from.get_int32();
        break;
      case SingleBatteryInfo::kRemainedCapacityFieldNumber:
        to->remained = from.get_int32();
        break;
      case SingleBatteryInfo::kBatteryTemperatureFieldNumber:
        to->temperature = from.get_int32();
        break;
      case SingleBatteryInfo::kCellCountFieldNumber:
        to->cells = from.get_int32();
        break;
      case SingleBatteryInfo::kBatteryCapacityPercentFieldNumber:
        to->percent = from.get_int32();
        break;
      case SingleBatteryInfo::kBatteryStateFieldNumber:
        to->state = from.get_uint64();
        break;
      case SingleBatteryInfo::kBatterySOPFieldNumber:
        to->sop = from.get_uint32();
        break;
      default:
        from.skip();
    }
  }
}

void Write(const sample::Target& from, pbf_writer* to) {
  Add(to, singleTargetInfo::kTNumFieldNumber, from.num);
  Add(to, singleTargetInfo::kTTypeFieldNumber, from.type);
  Add(to, singleTargetInfo::kTCalCntFieldNumber, from.cal_cnt);
  Add(to, singleTargetInfo::kTWorkStatusFieldNumber, from.work_status);
  Add(to, singleTargetInfo::kTTimeCreateFieldNumber, from.time_create);
  Add(to, singleTargetInfo::kTTimeTestFieldNumber, from.time_test);
  Add(to, singleTargetInfo::kTSigBandFieldNumber, from.sig_band);
  Add(to, singleTargetInfo::kTDistanceFieldNumber, from.distance);
  Add(to, singleTargetInfo::kTFreqFieldNumber, from.freq);
  Add(to, singleTargetInfo::kTAmpFieldNumber, from.amp);
  AddZigzag(to, singleTargetInfo::kTmFwFieldNumber, from.tm_fw);
  AddZigzag(to, singleTargetInfo::kTmFyFieldNumber, from.tm_fy);
  AddZigzag(to, singleTargetInfo::kTfFwFieldNumber, from.tf_fw);
  AddZigzag(to, singleTargetInfo::kTfFyFieldNumber, from.tf_fy);
  Add(to, singleTargetInfo::kTConfidenceLevelFieldNumber, from.confidence);
  Add(to, singleTargetInfo::kTTimeOffsetFieldNumber, from.time_offset);
  Add(to, singleTargetInfo::kTNameFieldNumber, from.name);
}

void Read(pbf_reader from, sample::Target* to) {
  while (from.next()) {
    switch (from.tag()) {
      case singleTargetInfo::kTNumFieldNumber:
        to->num = from.get_uint32();
        break;
      case singleTargetInfo::kTTypeFieldNumber:
        to->type = from.get_uint32();
        break;
      case singleTargetInfo::kTCalCntFieldNumber:
        to->cal_cnt = from.get_uint32();
        break;
      case singleTargetInfo::kTWorkStatusFieldNumber:
        to->work_status = from.get_uint32();
        break;
      case singleTargetInfo::kTTimeCreateFieldNumber:
        to->time_create = from.get_uint32();
        break;
      case singleTargetInfo::kTTimeTestFieldNumber:
        to->time_test = from.get_uint32();
        break;
      case singleTargetInfo::kTSigBandFieldNumber:
        to->sig_band = from.get_uint32();
        break;
      case singleTargetInfo::kTDistanceFieldNumber:
        to->distance = from.get_uint32();
        break;
      case singleTargetInfo::kTFreqFieldNumber:
        to->freq = from.get_uint32();
        break;
      case singleTargetInfo::kTAmpFieldNumber:
        to->amp = from.get_uint32();
        break;
      case singleTargetInfo::kTmFwFieldNumber:
        to->tm_fw = from.get_sint32();
        break;
      case singleTargetInfo::kTmFyFieldNumber:
        to->tm_fy = from.get_sint32();
        break;
      case singleTargetInfo::kTfFwFieldNumber:
        to->tf_fw = from.get_sint32();
        break;
      case singleTargetInfo::kTfFyFieldNumber:
        to->tf_fy = from.get_sint32();
        break;
      case singleTargetInfo::kTConfidenceLevelFieldNumber:
        to->confidence = from.get_uint32();
        break;
      case singleTargetInfo::kTTimeOffsetFieldNumber:
        to->time_offset = from.get_uint32();
        break;
      case singleTargetInfo::kTNameFieldNumber:
        to->name = View(from.get_view());
        break;
      default:
        from.skip();
    }
  }
}

void Write(const sample::Tracer& from, pbf_writer* to) {
  Add(to, tracerMeasureInfoMessage::kFrameNumFieldNumber, from.frame);
  Add(to, tracerMeasureInfoMessage::kWorkStatusFieldNumber, from.work_status);
  Add(to, tracerMeasureInfoMessage::kTarNumFieldNumber, from.target_number);
  for (uint32_t i = 0; i < from.targets_used; ++i) {
    pbf_writer target(*to, tracerMeasureInfoMessage::kTarInfoFieldNumber);
    Write(from.targets[i], &target);
  }
  Add(to, tracerMeasureInfoMessage::kWorkModeFieldNumber, from.work_mode);
}

void Read(pbf_reader from, sample::Tracer* to) {
  while (from.next()) {
    switch (from.tag()) {
      case tracerMeasureInfoMessage::kFrameNumFieldNumber:
        to->frame = from.get_uint32();
        break;
      case tracerMeasureInfoMessage::kWorkStatusFieldNumber:
        to->work_status = from.get_uint32();
        break;
      case tracerMeasureInfoMessage::kTarNumFieldNumber:
        to->target_number = from.get_uint32();
        break;
      case tracerMeasureInfoMessage::kTarInfoFieldNumber: {
        sample::Target& target = to->targets.at(to->targets_used++);
        target = {};
        Read(from.get_message(), &target);
        break;
      }
      case tracerMeasureInfoMessage::kWorkModeFieldNumber:
        to->work_mode = from.get_uint32();
        break;
      default:
        from.skip();
    }
  }
}

void Write(const sample::Stream& from, pbf_writer* to) {
  Add(to, responseData::kOffsetFieldNumber, from.offset);
  Add(to, responseData::kLengthFieldNumber, from.length);
  Add(to, responseData::kSessionFieldNumber, from.session);
  Add(to, responseData::kDataFieldNumber, from.data);
}

void Read(pbf_reader from, sample::Stream* to) {
  while (from.next()) {
    switch (from.tag()) {
      case responseData::kOffsetFieldNumber:
        to->offset = from.get_int64();
        break;
      case responseData::kLengthFieldNumber:
        to->length = from.get_int32();
        break;
      case responseData::kSessionFieldNumber:
        to->session = View(from.get_view());
        break;
      case responseData::kDataFieldNumber:
        to->data = View(from.get_view());
        break;
      default:
        from.skip();
    }
  }
}

void Reset(sample::Tracer* sample) {
  sample->frame = sample->work_status = sample->target_number = 0;
  sample->work_mode = sample->targets_used = 0;
}
template <typename Sample>
void Reset(Sample* sample) {
  *sample = {};
}

class ProtozeroCodec {
 public:
  template <typename Sample>
  std::string_view Encode(const Sample& sample) {
    bytes_.clear();
    pbf_writer writer(bytes_);
    Write(sample, &writer);
    return bytes_;
  }

  template <typename Sample>
  bool Decode(const std::string& bytes, Sample* sample) {
    Reset(sample);
    try {
      Read(pbf_reader(bytes), sample);
    } catch (const protozero::exception&) {
      return false;
    }
    return true;
  }

 private:
  std::string bytes_;
};

}  // namespace

void RegisterProtozero() { Register<ProtozeroCodec>("protozero"); }
