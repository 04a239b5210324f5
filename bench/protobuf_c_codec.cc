// protobuf-c: structures of C, unpacked onto the heap. Reads and writes the
// library's bytes.
#include "channelMessage.pb-c.h"
#include "codec.h"
#include "gimbalMessage.pb-c.h"
#include "sdkSubMessage.pb-c.h"
#include "streamMessage.pb-c.h"
#include "tracerMessage.pb-c.h"

namespace {

using Any = Google__Protobuf__Any;
using Attitude = Zorvik__Gimbal__GimbalAttitude3d;
using Battery = Zorvik__Sdksub__SingleBatteryInfo;
using Envelope = Zorvik__Channel__ChannelTopicMessage;
using HardSync = Zorvik__Sdksub__HardSync;
using Imu = Zorvik__Sdksub__ImuAttiNaviData;
using Property = Zorvik__Gimbal__UavGimbalRotationPropertyMessage;
using Quaternion = Zorvik__Sdksub__Quaternion4f;
using Relative = Zorvik__Gimbal__RelativeAngleRotationMessage;
using Rotate = Zorvik__Gimbal__UavGimbalRotateReqMessage;
using Stream = Zorvik__Stream__ResponseData;
using Target = Zorvik__Protocol__SingleTargetInfo;
using Tracer = Zorvik__Protocol__TracerMeasureInfoMessage;
using Vector = Zorvik__Sdksub__Vector3f;

ProtobufCBinaryData Bytes(std::string_view view) {
  return {view.size(),
          reinterpret_cast<uint8_t*>(const_cast<char*>(view.data()))};
}

std::string_view View(const ProtobufCBinaryData& bytes) {
  return {reinterpret_cast<const char*>(bytes.data), bytes.len};
}

// A terminated copy: the structures hold C strings.
char* CString(std::string_view from, std::string* to) {
  to->assign(from.data(), from.size());
  return to->data();
}

// A record within may be absent.
sample::Quaternion Read(const Quaternion* from) {
  if (from == nullptr) return {};
  return {from->q0, from->q1, from->q2, from->q3};
}

sample::Vector Read(const Vector* from) {
  if (from == nullptr) return {};
  return {from->x, from->y, from->z};
}

// A rotate request and the records within it.
struct RotateTree {
  RotateTree() {
    zorvik__gimbal__uav_gimbal_rotate_req_message__init(&request);
    zorvik__gimbal__uav_gimbal_rotation_property_message__init(&property);
    zorvik__gimbal__relative_angle_rotation_message__init(&relative);
    zorvik__gimbal__gimbal_attitude3d__init(&value);
    request.rotationproperty = &property;
    request.rotationvalue = &value;
    property.relativeanglerotation = &relative;
  }
  RotateTree(const RotateTree&) = delete;
  RotateTree& operator=(const RotateTree&) = delete;

  void Fill(const sample::Rotate& from) {
    request.seq = from.seq;
    request.rotationmode =
        static_cast<Zorvik__Gimbal__EUAVGimbalRotationMode>(from.mode);
    relative.actiontime = from.action_time;
    value.pitch = from.pitch;
    value.roll = from.roll;
    value.yaw = from.yaw;
  }

  Rotate request;
  Property property;
  Relative relative;
  Attitude value;
};

void Read(const Rotate& from, sample::Rotate* to) {
  *to = {};
  to->seq = from.seq;
  to->mode = static_cast<int32_t>(from.rotationmode);
  if (from.rotationproperty != nullptr &&
      from.rotationproperty->relativeanglerotation != nullptr) {
    to->action_time = from.rotationproperty->relativeanglerotation->actiontime;
  }
  if (from.rotationvalue != nullptr) {
    to->pitch = from.rotationvalue->pitch;
    to->roll = from.rotationvalue->roll;
    to->yaw = from.rotationvalue->yaw;
  }
}

class ProtobufCCodec {
 public:
  ProtobufCCodec() {
    zorvik__channel__channel_topic_message__init(&envelope_);
    google__protobuf__any__init(&any_);
    zorvik__sdksub__imu_atti_navi_data__init(&imu_);
    zorvik__sdksub__hard_sync__init(&hard_sync_);
    zorvik__sdksub__quaternion4f__init(&q_);
    zorvik__sdksub__vector3f__init(&a_);
    zorvik__sdksub__vector3f__init(&w_);
    zorvik__sdksub__single_battery_info__init(&battery_);
    zorvik__protocol__tracer_measure_info_message__init(&tracer_);
    zorvik__stream__response_data__init(&stream_);
    for (uint32_t i = 0; i < sample::Tracer::kMostTargets; ++i) {
      zorvik__protocol__single_target_info__init(&targets_[i]);
      target_pointers_[i] = &targets_[i];
    }
  }
  ~ProtobufCCodec() { Keep(nullptr); }
  ProtobufCCodec(const ProtobufCCodec&) = delete;
  ProtobufCCodec& operator=(const ProtobufCCodec&) = delete;

  std::string_view Encode(const sample::Rotate& sample) {
    rotate_.Fill(sample);
    return Write(&rotate_.request.base);
  }
  bool Decode(const std::string& bytes, sample::Rotate* sample) {
    const auto* request = Unpack<Rotate>(
        &zorvik__gimbal__uav_gimbal_rotate_req_message__descriptor, bytes);
    if (request == nullptr) return false;
    Read(*request, sample);
    return true;
  }

  std::string_view Encode(const sample::Envelope& sample) {
    envelope_.topic_type = sample.topic;
    envelope_.src_node_id = sample.source;
    envelope_.dst_node_id = sample.destination;
    envelope_.data = &any_;
    any_.type_url = CString(RotateTypeUrl(), &text_);
    rotate_.Fill(sample.rotate);
    any_.value = {protobuf_c_message_pack(&rotate_.request.base, payload_),
                  payload_};
    return Write(&envelope_.base);
  }
  bool Decode(const std::string& bytes, sample::Envelope* sample) {
    const auto* envelope = Unpack<Envelope>(
        &zorvik__channel__channel_topic_message__descriptor, bytes);
    if (envelope == nullptr) return false;
    sample->topic = envelope->topic_type;
    sample->source = envelope->src_node_id;
    sample->destination = envelope->dst_node_id;
    if (envelope->data == nullptr ||
        RotateTypeUrl() != envelope->data->type_url) {
      return false;
    }
    Rotate* request = zorvik__gimbal__uav_gimbal_rotate_req_message__unpack(
        nullptr, envelope->data->value.len, envelope->data->value.data);
    if (request == nullptr) return false;
    Read(*request, &sample->rotate);
    zorvik__gimbal__uav_gimbal_rotate_req_message__free_unpacked(request,
                                                                 nullptr);
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
    imu_.q = Fill(sample.q, &q_);
    imu_.count = sample.count;
    imu_.timestamp = sample.timestamp;
    return Write(&imu_.base);
  }
  bool Decode(const std::string& bytes, sample::Imu* sample) {
    const auto* imu =
        Unpack<Imu>(&zorvik__sdksub__imu_atti_navi_data__descriptor, bytes);
    if (imu == nullptr) return false;
    sample->version = imu->version;
    sample->flag = imu->flag;
    sample->position = {imu->pn_x, imu->pn_y, imu->pn_z};
    sample->velocity = {imu->vn_x, imu->vn_y, imu->vn_z};
    sample->acceleration = {imu->an_x, imu->an_y, imu->an_z};
    sample->q = ::Read(imu->q);
    sample->count = imu->count;
    sample->timestamp = imu->timestamp;
    return true;
  }

  std::string_view Encode(const sample::HardSync& sample) {
    hard_sync_.timestamp = sample.timestamp;
    hard_sync_.q = Fill(sample.q, &q_);
    hard_sync_.a = Fill(sample.a, &a_);
    hard_sync_.w = Fill(sample.w, &w_);
    return Write(&hard_sync_.base);
  }
  bool Decode(const std::string& bytes, sample::HardSync* sample) {
    const auto* sync =
        Unpack<HardSync>(&zorvik__sdksub__hard_sync__descriptor, bytes);
    if (sync == nullptr) return false;
    sample->timestamp = sync->timestamp;
    sample->q = ::Read(sync->q);
    sample->a = ::Read(sync->a);
    sample->w = ::Read(sync->w);
    return true;
  }

  std::string_view Encode(const sample::Battery& sample) {
    battery_.batteryindex = sample.index;
    battery_.currentvoltage = sample.voltage;
    battery_.currentelectric = sample.current;
    battery_.fullcapacity = sample.full;
    battery_.remainedcapacity = sample.remained;
    battery_.batterytemperature = sample.temperature;
    battery_.cellcount = sample.cells;
    battery_.batterycapacitypercent = sample.percent;
    battery_.batterystate = sample.state;
    battery_.batterysop = sample.sop;
    return Write(&battery_.base);
  }
  bool Decode(const std::string& bytes, sample::Battery* sample) {
    const auto* from = Unpack<Battery>(
        &zorvik__sdksub__single_battery_info__descriptor, bytes);
    if (from == nullptr) return false;
    *sample = {from->batteryindex,     from->currentvoltage,
               from->currentelectric,  from->fullcapacity,
               from->remainedcapacity, from->batterytemperature,
               from->cellcount,        from->batterycapacitypercent,
               from->batterystate,     from->batterysop};
    return true;
  }

  std::string_view Encode(const sample::Tracer& sample) {
    tracer_.framenum = sample.frame;
    tracer_.workstatus = sample.work_status;
    tracer_.tarnum = sample.target_number;
    tracer_.workmode = sample.work_mode;
    tracer_.n_tarinfo = sample.targets_used;
    tracer_.tarinfo = target_pointers_;
    for (uint32_t i = 0; i < sample.targets_used; ++i) {
      Fill(sample.targets[i], &target_names_[i], &targets_[i]);
    }
    return Write(&tracer_.base);
  }
  bool Decode(const std::string& bytes, sample::Tracer* sample) {
    const auto* from = Unpack<Tracer>(
        &zorvik__protocol__tracer_measure_info_message__descriptor, bytes);
    if (from == nullptr) return false;
    sample->frame = from->framenum;
    sample->work_status = from->workstatus;
    sample->target_number = from->tarnum;
    sample->work_mode = from->workmode;
    sample->targets_used = static_cast<uint32_t>(from->n_tarinfo);
    for (uint32_t i = 0; i < sample->targets_used; ++i) {
      Read(*from->tarinfo[i], &sample->targets.at(i));
    }
    return true;
  }

  std::string_view Encode(const sample::Stream& sample) {
    stream_.offset = sample.offset;
    stream_.length = sample.length;
    stream_.session = CString(sample.session, &text_);
    stream_.data = Bytes(sample.data);
    return Write(&stream_.base);
  }
  bool Decode(const std::string& bytes, sample::Stream* sample) {
    const auto* from =
        Unpack<Stream>(&zorvik__stream__response_data__descriptor, bytes);
    if (from == nullptr) return false;
    *sample = {from->offset, from->length, from->session, View(from->data)};
    return true;
  }

 private:
  static Quaternion* Fill(const sample::Quaternion& from, Quaternion* to) {
    to->q0 = from[0];
    to->q1 = from[1];
    to->q2 = from[2];
    to->q3 = from[3];
    return to;
  }

  static Vector* Fill(const sample::Vector& from, Vector* to) {
    to->x = from[0];
    to->y = from[1];
    to->z = from[2];
    return to;
  }

  static void Fill(const sample::Target& from, std::string* name, Target* to) {
    to->tnum = from.num;
    to->ttype = from.type;
    to->tcalcnt = from.cal_cnt;
    to->tworkstatus = from.work_status;
    to->ttimecreate = from.time_create;
    to->ttimetest = from.time_test;
    to->tsigband = from.sig_band;
    to->tdistance = from.distance;
    to->tfreq = from.freq;
    to->tamp = from.amp;
    to->tmfw = from.tm_fw;
    to->tmfy = from.tm_fy;
    to->tffw = from.tf_fw;
    to->tffy = from.tf_fy;
    to->tconfidencelevel = from.confidence;
    to->ttimeoffset = from.time_offset;
    to->tname = CString(from.name, name);
  }

  static void Read(const Target& from, sample::Target* to) {
    *to = {from.tnum,        from.ttype,       from.tcalcnt,
           from.tworkstatus, from.ttimecreate, from.ttimetest,
           from.tsigband,    from.tdistance,   from.tfreq,
           from.tamp,        from.tmfw,        from.tmfy,
           from.tffw,        from.tffy,        from.tconfidencelevel,
           from.ttimeoffset, from.tname};
  }
  static void Read(const Rotate& from, sample::Rotate* to) { ::Read(from, to); }

  std::string_view Write(const ProtobufCMessage* message) {
    const size_t size = protobuf_c_message_pack(message, buffer_);
    return {reinterpret_cast<const char*>(buffer_), size};
  }

  template <typename Message>
  const Message* Unpack(const ProtobufCMessageDescriptor* type,
                        const std::string& bytes) {
    Keep(protobuf_c_message_unpack(
        type, nullptr, bytes.size(),
        reinterpret_cast<const uint8_t*>(bytes.data())));
    return reinterpret_cast<const Message*>(unpacked_);
  }

  // Samples refer to what was unpacked last.
  void Keep(ProtobufCMessage* message) {
    if (unpacked_ != nullptr) {
      protobuf_c_message_free_unpacked(unpacked_, nullptr);
    }
    unpacked_ = message;
  }

  uint8_t buffer_[8192];
  uint8_t payload_[256];
  std::string text_;
  RotateTree rotate_;
  Envelope envelope_;
  Any any_;
  Imu imu_;
  HardSync hard_sync_;
  Quaternion q_;
  Vector a_, w_;
  Battery battery_;
  Tracer tracer_;
  Target targets_[sample::Tracer::kMostTargets];
  Target* target_pointers_[sample::Tracer::kMostTargets];
  std::string target_names_[sample::Tracer::kMostTargets];
  Stream stream_;
  ProtobufCMessage* unpacked_ = nullptr;
};

}  // namespace

void RegisterProtobufC() { Register<ProtobufCCodec>("protobuf-c"); }
