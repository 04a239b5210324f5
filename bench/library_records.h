// Plain records into the library's messages and back.
#ifndef BENCH_LIBRARY_RECORDS_H_
#define BENCH_LIBRARY_RECORDS_H_

#include "channelMessage.pb.h"
#include "gimbalMessage.pb.h"
#include "samples.h"
#include "sdkSubMessage.pb.h"
#include "streamMessage.pb.h"
#include "tracerMessage.pb.h"

namespace records {

namespace channel = zorvik::channel;
namespace gimbal = zorvik::gimbal;
namespace protocol = zorvik::protocol;
namespace sdksub = zorvik::sdksub;
namespace stream = zorvik::stream;

inline void Fill(const sample::Rotate& from,
                 gimbal::UavGimbalRotateReqMessage* to) {
  to->set_seq(from.seq);
  to->set_rotationmode(static_cast<gimbal::eUAVGimbalRotationMode>(from.mode));
  to->mutable_rotationproperty()
      ->mutable_relativeanglerotation()
      ->set_actiontime(from.action_time);
  gimbal::GimbalAttitude3d* value = to->mutable_rotationvalue();
  value->set_pitch(from.pitch);
  value->set_roll(from.roll);
  value->set_yaw(from.yaw);
}

inline void Read(const gimbal::UavGimbalRotateReqMessage& from,
                 sample::Rotate* to) {
  to->seq = from.seq();
  to->mode = from.rotationmode();
  to->action_time =
      from.rotationproperty().relativeanglerotation().actiontime();
  const gimbal::GimbalAttitude3d& value = from.rotationvalue();
  to->pitch = value.pitch();
  to->roll = value.roll();
  to->yaw = value.yaw();
}

// Everything but the payload.
inline void Fill(const sample::Envelope& from,
                 channel::channelTopicMessage* to) {
  to->set_topic_type(from.topic);
  to->set_src_node_id(from.source);
  to->set_dst_node_id(from.destination);
}

inline void Read(const channel::channelTopicMessage& from,
                 sample::Envelope* to) {
  to->topic = from.topic_type();
  to->source = from.src_node_id();
  to->destination = from.dst_node_id();
}

inline void Fill(const sample::Quaternion& from, sdksub::Quaternion4f* to) {
  to->set_q0(from[0]);
  to->set_q1(from[1]);
  to->set_q2(from[2]);
  to->set_q3(from[3]);
}

inline void Read(const sdksub::Quaternion4f& from, sample::Quaternion* to) {
  *to = {from.q0(), from.q1(), from.q2(), from.q3()};
}

inline void Fill(const sample::Vector& from, sdksub::Vector3f* to) {
  to->set_x(from[0]);
  to->set_y(from[1]);
  to->set_z(from[2]);
}

inline void Read(const sdksub::Vector3f& from, sample::Vector* to) {
  *to = {from.x(), from.y(), from.z()};
}

inline void Fill(const sample::Imu& from, sdksub::ImuAttiNaviData* to) {
  to->set_version(from.version);
  to->set_flag(from.flag);
  to->set_pn_x(from.position[0]);
  to->set_pn_y(from.position[1]);
  to->set_pn_z(from.position[2]);
  to->set_vn_x(from.velocity[0]);
  to->set_vn_y(from.velocity[1]);
  to->set_vn_z(from.velocity[2]);
  to->set_an_x(from.acceleration[0]);
  to->set_an_y(from.acceleration[1]);
  to->set_an_z(from.acceleration[2]);
  Fill(from.q, to->mutable_q());
  to->set_count(from.count);
  to->set_timestamp(from.timestamp);
}

inline void Read(const sdksub::ImuAttiNaviData& from, sample::Imu* to) {
  to->version = from.version();
  to->flag = from.flag();
  to->position = {from.pn_x(), from.pn_y(), from.pn_z()};
  to->velocity = {from.vn_x(), from.vn_y(), from.vn_z()};
  to->acceleration = {from.an_x(), from.an_y(), from.an_z()};
  Read(from.q(), &to->q);
  to->count = from.count();
  to->timestamp = from.timestamp();
}

inline void Fill(const sample::HardSync& from, sdksub::hardSync* to) {
  to->set_timestamp(from.timestamp);
  Fill(from.q, to->mutable_q());
  Fill(from.a, to->mutable_a());
  Fill(from.w, to->mutable_w());
}

inline void Read(const sdksub::hardSync& from, sample::HardSync* to) {
  to->timestamp = from.timestamp();
  Read(from.q(), &to->q);
  Read(from.a(), &to->a);
  Read(from.w(), &to->w);
}

inline void Fill(const sample::Battery& from, sdksub::SingleBatteryInfo* to) {
  to->set_batteryindex(from.index);
  to->set_currentvoltage(from.voltage);
  to->set_currentelectric(from.current);
  to->set_fullcapacity(from.full);
  to->set_remainedcapacity(from.remained);
  to->set_batterytemperature(from.temperature);
  to->set_cellcount(from.cells);
  to->set_batterycapacitypercent(from.percent);
  to->set_batterystate(from.state);
  to->set_batterysop(from.sop);
}

inline void Read(const sdksub::SingleBatteryInfo& from, sample::Battery* to) {
  to->index = from.batteryindex();
  to->voltage = from.currentvoltage();
  to->current = from.currentelectric();
  to->full = from.fullcapacity();
  to->remained = from.remainedcapacity();
  to->temperature = from.batterytemperature();
  to->cells = from.cellcount();
  to->percent = from.batterycapacitypercent();
  to->state = from.batterystate();
  to->sop = from.batterysop();
}

inline void Fill(const sample::Target& from, protocol::singleTargetInfo* to) {
  to->set_tnum(from.num);
  to->set_ttype(from.type);
  to->set_tcalcnt(from.cal_cnt);
  to->set_tworkstatus(from.work_status);
  to->set_ttimecreate(from.time_create);
  to->set_ttimetest(from.time_test);
  to->set_tsigband(from.sig_band);
  to->set_tdistance(from.distance);
  to->set_tfreq(from.freq);
  to->set_tamp(from.amp);
  to->set_tmfw(from.tm_fw);
  to->set_tmfy(from.tm_fy);
  to->set_tffw(from.tf_fw);
  to->set_tffy(from.tf_fy);
  to->set_tconfidencelevel(from.confidence);
  to->set_ttimeoffset(from.time_offset);
  to->mutable_tname()->assign(from.name.data(), from.name.size());
}

inline void Read(const protocol::singleTargetInfo& from, sample::Target* to) {
  to->num = from.tnum();
  to->type = from.ttype();
  to->cal_cnt = from.tcalcnt();
  to->work_status = from.tworkstatus();
  to->time_create = from.ttimecreate();
  to->time_test = from.ttimetest();
  to->sig_band = from.tsigband();
  to->distance = from.tdistance();
  to->freq = from.tfreq();
  to->amp = from.tamp();
  to->tm_fw = from.tmfw();
  to->tm_fy = from.tmfy();
  to->tf_fw = from.tffw();
  to->tf_fy = from.tffy();
  to->confidence = from.tconfidencelevel();
  to->time_offset = from.ttimeoffset();
  to->name = from.tname();
}

inline void Fill(const sample::Tracer& from,
                 protocol::tracerMeasureInfoMessage* to) {
  to->set_framenum(from.frame);
  to->set_workstatus(from.work_status);
  to->set_tarnum(from.target_number);
  to->set_workmode(from.work_mode);
  to->clear_tarinfo();
  for (uint32_t i = 0; i < from.targets_used; ++i) {
    Fill(from.targets[i], to->add_tarinfo());
  }
}

inline void Read(const protocol::tracerMeasureInfoMessage& from,
                 sample::Tracer* to) {
  to->frame = from.framenum();
  to->work_status = from.workstatus();
  to->target_number = from.tarnum();
  to->work_mode = from.workmode();
  to->targets_used = static_cast<uint32_t>(from.tarinfo_size());
  for (uint32_t i = 0; i < to->targets_used; ++i) {
    Read(from.tarinfo(static_cast<int>(i)), &to->targets.at(i));
  }
}

// Everything but the data.
inline void Fill(const sample::Stream& from, stream::responseData* to) {
  to->set_offset(from.offset);
  to->set_length(from.length);
  to->mutable_session()->assign(from.session.data(), from.session.size());
}

inline void Read(const stream::responseData& from, sample::Stream* to) {
  to->offset = from.offset();
  to->length = from.length();
  to->session = from.session();
  to->data = from.data();
}

// Back to zero without letting go of the records within: scalars by hand.
inline void ClearInPlace(gimbal::UavGimbalRotateReqMessage* message) {
  message->clear_seq();
  message->clear_rotationmode();
  if (message->has_rotationproperty()) {
    auto* property = message->mutable_rotationproperty();
    property->clear_rotationvalueinvalidflag();
    property->clear_absoluteanglerotation();
    if (property->has_relativeanglerotation()) {
      property->mutable_relativeanglerotation()->Clear();
    }
  }
  if (message->has_rotationvalue()) message->mutable_rotationvalue()->Clear();
}

inline void ClearInPlace(channel::channelTopicMessage* message) {
  message->clear_topic_type();
  message->clear_src_node_id();
  message->clear_dst_node_id();
  if (message->has_data()) message->mutable_data()->Clear();
}

inline void ClearInPlace(sdksub::ImuAttiNaviData* message) {
  message->clear_version();
  message->clear_flag();
  message->clear_pn_x();
  message->clear_pn_y();
  message->clear_pn_z();
  message->clear_vn_x();
  message->clear_vn_y();
  message->clear_vn_z();
  message->clear_an_x();
  message->clear_an_y();
  message->clear_an_z();
  if (message->has_q()) message->mutable_q()->Clear();
  message->clear_count();
  message->clear_timestamp();
}

inline void ClearInPlace(sdksub::hardSync* message) {
  message->clear_timestamp();
  if (message->has_q()) message->mutable_q()->Clear();
  if (message->has_a()) message->mutable_a()->Clear();
  if (message->has_w()) message->mutable_w()->Clear();
}

}  // namespace records

#endif  // BENCH_LIBRARY_RECORDS_H_
