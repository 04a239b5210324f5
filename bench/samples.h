// What the codecs encode and decode: six representative messages and the rotate
// request on its own.
#ifndef BENCH_SAMPLES_H_
#define BENCH_SAMPLES_H_

#include <limits>
#include <numeric>
#include <string>

#include "library_records.h"

namespace sample {

using records::Make;
using records::Record;

using Rotate = Record<zorvik::gimbal::UavGimbalRotateReqMessage>;
using Imu = Record<zorvik::sdksub::ImuAttiNaviData>;
using HardSync = Record<zorvik::sdksub::hardSync>;
using Battery = Record<zorvik::sdksub::SingleBatteryInfo>;
using Target = Record<zorvik::protocol::singleTargetInfo>;
using Tracer = Record<zorvik::protocol::tracerMeasureInfoMessage>;

// With these two, the codecs differ in how they get at the content and the
// data: the layout leaves them out.
struct Envelope : Record<zorvik::channel::channelTopicMessage> {
  Rotate rotate;
};
struct Stream : Record<zorvik::stream::responseData> {
  std::string_view data;
};

using All =
    std::tuple<Envelope, Rotate, Imu, HardSync, Battery, Tracer, Stream>;

// What is timed.
template <typename Sample>
Sample Timed();

inline const auto kAttitude =
    Make<zorvik::sdksub::Quaternion4f>(0.707F, 0.01F, -0.02F, 0.706F);
constexpr uint64_t kTime = 1700000000123456;

template <>
inline Rotate Timed() {
  const auto relative = Make<zorvik::gimbal::relativeAngleRotationMessage>(20);
  return Make<Rotate::M>(4711, 1, Make<records::RotationProperty>(relative),
                         Make<zorvik::gimbal::GimbalAttitude3d>(-300, 15, 450));
}
template <>
inline Envelope Timed() {
  return {Make<Envelope::M>(10404, 2, 1001), Timed<Rotate>()};
}
template <>
inline Imu Timed() {
  return Make<Imu::M>(3, 0x1f, 12.5F, -3.25F, -40.125F, 1.5F, 0.25F, -0.75F,
                      0.01F, 0.02F, -9.81F, kAttitude, 200, kTime);
}
template <>
inline HardSync Timed() {
  return Make<HardSync::M>(kTime, kAttitude,
                           Make<zorvik::sdksub::Vector3f>(0.01F, 0.02F, -9.81F),
                           Make<zorvik::sdksub::Vector3f>(0.1F, -0.2F, 0.3F));
}
template <>
inline Battery Timed() {
  return Make<Battery::M>(1, 22800, -12000, 5000, 4050, 315, 6, 81, 0x40000201,
                          98);
}
template <>
inline Tracer Timed() {
  std::vector<Target> targets;
  for (int i = 0; i < 16; ++i) {
    const auto n = static_cast<uint32_t>(i);
    const uint32_t created = 86400 + 600 * n;
    targets.push_back(Make<Target::M>(
        n + 1, n % 4 + 1, 10 * n + 7, 1, created, created + 3600, 3,
        150 * n + 90, 2400000 + 500 * n, 60 + n, 1500 - 300 * i, 20 * i - 170,
        1490 - 300 * i, 20 * i - 165, 70 + n, 35, "target-16b-x"));
  }
  return Make<Tracer::M>(1200, 1, 16, targets, 2);
}
template <>
inline Stream Timed() {
  static const std::string block = [] {
    std::string bytes(4096, '\0');
    std::iota(bytes.begin(), bytes.end(), '\0');
    return bytes;
  }();
  return {Make<Stream::M>(1 << 20, 4096, "firmware-session-0001"), block};
}

// The lowest values of all fields, a negative zero among them, or the highest.
template <typename Value>
void SetExtreme(bool high, Value* value) {
  using Limits = std::numeric_limits<Value>;
  if constexpr (std::is_same_v<Value, std::string_view>) {
    *value = high ? "\xc3\xa9" : "x";
  } else if constexpr (std::is_same_v<Value, std::vector<Target>>) {
    value->resize(2);
    SetExtreme(high, &value->front());
    SetExtreme(!high, &value->back());
  } else if constexpr (std::is_floating_point_v<Value>) {
    *value = high ? Limits::max() : -Value{0};
  } else if constexpr (std::is_arithmetic_v<Value>) {
    *value = high ? Limits::max() : Limits::min();
  } else {
    std::apply([high](auto&... field) { (SetExtreme(high, &field), ...); },
               value->values);
  }
}

// The first one is timed. With the others, which hold nothing but zeros and
// the most extreme values, the codecs only have to agree.
template <typename Sample>
const std::vector<Sample>& Samples() {
  static const std::vector<Sample> samples = [] {
    std::vector<Sample> all = {Timed<Sample>(), {}, {}, {}};
    SetExtreme(false, &all[2]);
    SetExtreme(true, &all[3]);
    for (size_t i : {1, 2, 3}) {
      // An envelope with a rotate request, for the node of the typed topics.
      if constexpr (std::is_same_v<Sample, Envelope>) {
        std::get<0>(all[i].values) = std::get<0>(all[0].values);
        std::get<2>(all[i].values) = std::get<2>(all[0].values);
        all[i].rotate = Samples<Rotate>()[i];
      }
      if (i == 1) continue;
      // nanopb takes an enum without negative values to be unsigned.
      if constexpr (std::is_same_v<Sample, Rotate>) {
        std::get<1>(all[i].values) = 2;
      }
      if constexpr (std::is_same_v<Sample, Stream>) all[i].data = "\x80x";
    }
    return all;
  }();
  return samples;
}

}  // namespace sample

#endif  // BENCH_SAMPLES_H_
