// What the codecs encode and decode: plain records, as a program keeps them,
// for six representative messages and the rotate request on its own.
#ifndef BENCH_SAMPLES_H_
#define BENCH_SAMPLES_H_

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace sample {

// zorvik.gimbal.UavGimbalRotateReqMessage, with the time of a relative turn.
struct Rotate {
  uint32_t seq = 0;
  int32_t mode = 0;
  int32_t action_time = 0;
  int32_t pitch = 0, roll = 0, yaw = 0;

  auto Fields() const {
    return std::tie(seq, mode, action_time, pitch, roll, yaw);
  }
};

// zorvik.channel.channelTopicMessage around a rotate request.
struct Envelope {
  int32_t topic = 0;
  int32_t source = 0;
  int32_t destination = 0;
  Rotate rotate;

  auto Fields() const {
    return std::tuple_cat(std::tie(topic, source, destination),
                          rotate.Fields());
  }
};

using Vector = std::array<float, 3>;
using Quaternion = std::array<float, 4>;

// zorvik.sdksub.ImuAttiNaviData
struct Imu {
  int32_t version = 0;
  uint32_t flag = 0;
  Vector position{}, velocity{}, acceleration{};
  Quaternion q{};
  int32_t count = 0;
  uint64_t timestamp = 0;

  auto Fields() const {
    return std::tie(version, flag, position, velocity, acceleration, q, count,
                    timestamp);
  }
};

// zorvik.sdksub.hardSync
struct HardSync {
  uint64_t timestamp = 0;
  Quaternion q{};
  Vector a{}, w{};

  auto Fields() const { return std::tie(timestamp, q, a, w); }
};

// zorvik.sdksub.SingleBatteryInfo
struct Battery {
  int32_t index = 0, voltage = 0, current = 0;
  int32_t full = 0, remained = 0, temperature = 0;
  int32_t cells = 0, percent = 0;
  uint64_t state = 0;
  uint32_t sop = 0;

  auto Fields() const {
    return std::tie(index, voltage, current, full, remained, temperature, cells,
                    percent, state, sop);
  }
};

// zorvik.protocol.singleTargetInfo
struct Target {
  uint32_t num = 0, type = 0, cal_cnt = 0, work_status = 0;
  uint32_t time_create = 0, time_test = 0, sig_band = 0, distance = 0;
  uint32_t freq = 0, amp = 0;
  int32_t tm_fw = 0, tm_fy = 0, tf_fw = 0, tf_fy = 0;
  uint32_t confidence = 0, time_offset = 0;
  std::string_view name;

  auto Fields() const {
    return std::tie(num, type, cal_cnt, work_status, time_create, time_test,
                    sig_band, distance, freq, amp, tm_fw, tm_fy, tf_fw, tf_fy,
                    confidence, time_offset, name);
  }
};

// zorvik.protocol.tracerMeasureInfoMessage
struct Tracer {
  static constexpr uint32_t kMostTargets = 16;

  uint32_t frame = 0, work_status = 0, target_number = 0, work_mode = 0;
  uint32_t targets_used = 0;
  std::array<Target, kMostTargets> targets;

  auto Fields() const {
    return std::tie(frame, work_status, target_number, work_mode, targets_used);
  }
};

// zorvik.stream.responseData
struct Stream {
  int64_t offset = 0;
  int32_t length = 0;
  std::string_view session;
  std::string_view data;

  auto Fields() const { return std::tie(offset, length, session, data); }
};

template <typename Sample>
bool Equal(const Sample& a, const Sample& b) {
  return a.Fields() == b.Fields();
}
bool Equal(const Tracer& a, const Tracer& b);

// The first one is timed; with the others, which hold nothing but zeros and
// the most extreme numbers, the codecs only have to agree.
template <typename Sample>
const std::vector<Sample>& Samples();

template <typename Sample>
constexpr const char* kName = "";
template <>
inline constexpr const char* kName<Envelope> = "envelope";
template <>
inline constexpr const char* kName<Rotate> = "rotate";
template <>
inline constexpr const char* kName<Imu> = "imu";
template <>
inline constexpr const char* kName<HardSync> = "hardSync";
template <>
inline constexpr const char* kName<Battery> = "battery";
template <>
inline constexpr const char* kName<Tracer> = "tracer";
template <>
inline constexpr const char* kName<Stream> = "stream";

}  // namespace sample

#endif  // BENCH_SAMPLES_H_
