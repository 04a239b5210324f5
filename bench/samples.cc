#include "samples.h"

#include <limits>

namespace sample {
namespace {

constexpr int32_t kLow = std::numeric_limits<int32_t>::min();
constexpr int32_t kHigh = std::numeric_limits<int32_t>::max();
constexpr uint32_t kAll = std::numeric_limits<uint32_t>::max();
constexpr uint64_t kAll64 = std::numeric_limits<uint64_t>::max();
constexpr float kTiny = std::numeric_limits<float>::denorm_min();
constexpr float kHuge = std::numeric_limits<float>::max();

std::string_view Block() {
  static const std::string block = [] {
    std::string bytes;
    for (int i = 0; i < 4096; ++i) {
      bytes.push_back(static_cast<char>(i * 37 + i / 256));
    }
    return bytes;
  }();
  return block;
}

Tracer MakeTracer() {
  Tracer tracer;
  tracer.frame = 1200;
  tracer.work_status = 1;
  tracer.work_mode = 2;
  tracer.target_number = tracer.targets_used = Tracer::kMostTargets;
  for (uint32_t i = 0; i < Tracer::kMostTargets; ++i) {
    Target& target = tracer.targets[i];
    target.num = i + 1;
    target.type = i % 4 + 1;
    target.cal_cnt = 10 * i + 7;
    target.work_status = 1;
    target.time_create = 86400 + 600 * i;
    target.time_test = 90000 + 600 * i;
    target.sig_band = 3;
    target.distance = 150 * i + 90;
    target.freq = 2400000 + 500 * i;
    target.amp = 60 + i;
    target.tm_fw = static_cast<int32_t>(1500 - 300 * i);
    target.tm_fy = static_cast<int32_t>(20 * i) - 170;
    target.tf_fw = static_cast<int32_t>(1490 - 300 * i);
    target.tf_fy = static_cast<int32_t>(20 * i) - 165;
    target.confidence = 70 + i;
    target.time_offset = 35;
    target.name = "target-16b-x";
  }
  return tracer;
}

Tracer MakeExtremeTracer() {
  Tracer tracer;
  tracer.frame = tracer.work_status = tracer.work_mode = kAll;
  tracer.target_number = 0;
  tracer.targets_used = 3;
  tracer.targets[1].name = "x";
  for (Target* target : {&tracer.targets[0], &tracer.targets[2]}) {
    *target = {kAll, kAll, kAll,  kAll, kAll,   kAll, kAll, kAll,      kAll,
               kAll, kLow, kHigh, -1,   1 << 6, kAll, kAll, "\xc3\xa9"};
  }
  return tracer;
}

}  // namespace

bool Equal(const Tracer& a, const Tracer& b) {
  if (a.Fields() != b.Fields()) return false;
  for (uint32_t i = 0; i < a.targets_used; ++i) {
    if (a.targets[i].Fields() != b.targets[i].Fields()) return false;
  }
  return true;
}

template <>
const std::vector<Rotate>& Samples() {
  static const std::vector<Rotate> samples = {
      {4711, 1, 20, -300, 15, 450}, {}, {kAll, 2, -1, kLow, kHigh, -1}};
  return samples;
}

template <>
const std::vector<Envelope>& Samples() {
  static const std::vector<Envelope> samples = {
      {10404, 2, 1001, Samples<Rotate>()[0]},
      {},
      {kLow, -1, kHigh, Samples<Rotate>()[2]}};
  return samples;
}

template <>
const std::vector<Imu>& Samples() {
  static const std::vector<Imu> samples = {{3,
                                            0x1f,
                                            {12.5F, -3.25F, -40.125F},
                                            {1.5F, 0.25F, -0.75F},
                                            {0.01F, 0.02F, -9.81F},
                                            {0.707F, 0.01F, -0.02F, 0.706F},
                                            200,
                                            1700000000123456},
                                           {},
                                           {kLow,
                                            kAll,
                                            {-0.0F, kTiny, kHuge},
                                            {0, -kTiny, 0},
                                            {-kHuge, 0, 0},
                                            {-0.0F, 0, 0, 1},
                                            -1,
                                            kAll64}};
  return samples;
}

template <>
const std::vector<HardSync>& Samples() {
  static const std::vector<HardSync> samples = {
      {1700000000123456,
       {0.707F, 0.01F, -0.02F, 0.706F},
       {0.01F, 0.02F, -9.81F},
       {0.1F, -0.2F, 0.3F}},
      {},
      {kAll64, {-0.0F, 0, 0, 1}, {kTiny, 0, kHuge}, {0, 0, -0.0F}}};
  return samples;
}

template <>
const std::vector<Battery>& Samples() {
  static const std::vector<Battery> samples = {
      {1, 22800, -12000, 5000, 4050, 315, 6, 81, 0x40000201, 98},
      {},
      {kLow, kHigh, -1, kLow, kHigh, -1, 127, 128, kAll64, kAll}};
  return samples;
}

template <>
const std::vector<Tracer>& Samples() {
  static const std::vector<Tracer> samples = {MakeTracer(), Tracer(),
                                              MakeExtremeTracer()};
  return samples;
}

template <>
const std::vector<Stream>& Samples() {
  static const std::vector<Stream> samples = {
      {1 << 20, 4096, "firmware-session-0001", Block()},
      {},
      {std::numeric_limits<int64_t>::min(), -1, "\xc3\xa9", Block().substr(1)}};
  return samples;
}

}  // namespace sample
