// The library's messages as plain records, which is how a program keeps them.
#ifndef BENCH_LIBRARY_RECORDS_H_
#define BENCH_LIBRARY_RECORDS_H_

#include <cstdint>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <vector>

#include "channelMessage.pb.h"
#include "gimbalMessage.pb.h"
#include "sdkSubMessage.pb.h"
#include "streamMessage.pb.h"
#include "tracerMessage.pb.h"

namespace records {

template <typename Message>
struct Record;

// What a record holds for what a getter of the library gives.
template <typename Given>
constexpr auto Plain() {
  using Type = std::decay_t<Given>;
  if constexpr (std::is_enum_v<Type>) {
    return int32_t();
  } else if constexpr (std::is_arithmetic_v<Type>) {
    return Type();
  } else if constexpr (std::is_same_v<Type, std::string>) {
    return std::string_view();
  } else if constexpr (std::is_base_of_v<google::protobuf::Message, Type>) {
    return Record<Type>();
  } else {
    return std::vector<Record<typename Type::value_type>>();
  }
}

// A field of the library's class: its getter, its setter (of a string or a
// record what gives it to be changed), its number, the test for a record.
template <auto kGetter, auto kSetter, int kFieldNumber, auto kTest = nullptr,
          bool kIsZigzag = false>
struct Field {
  template <typename Message, typename Given>
  static auto Value(Given (Message::*)() const) {
    return Plain<Given>();
  }

  static constexpr auto kGet = kGetter;
  static constexpr auto kSet = kSetter;
  static constexpr int kNumber = kFieldNumber;
  static constexpr auto kHas = kTest;
  static constexpr bool kZigzag = kIsZigzag;
};

// The fields in the order of their numbers.
template <typename Message>
struct Layout;

// A message and its fields, each by its name in C++ and by that in camel case.
#define LAYOUT(Message, ...)                \
  template <>                               \
  struct Layout<zorvik::Message> {          \
    using M = zorvik::Message;              \
    using Fields = std::tuple<__VA_ARGS__>; \
  }
#define SCALAR(name, Name) \
  Field<&M::name, &M::set_##name, M::k##Name##FieldNumber>
#define ZIGZAG(name, Name) \
  Field<&M::name, &M::set_##name, M::k##Name##FieldNumber, nullptr, true>
#define TEXT(name, Name) \
  Field<&M::name, &M::mutable_##name, M::k##Name##FieldNumber>
#define RECORD(name, Name) \
  Field<&M::name, &M::mutable_##name, M::k##Name##FieldNumber, &M::has_##name>
#define REPEATED(name, Name, Type)                                            \
  Field<static_cast<const google::protobuf::RepeatedPtrField<zorvik::Type>& ( \
            M::*)() const>(&M::name),                                         \
        static_cast<google::protobuf::RepeatedPtrField<zorvik::Type>* (       \
            M::*)()>(&M::mutable_##name),                                     \
        M::k##Name##FieldNumber>

LAYOUT(gimbal::relativeAngleRotationMessage, SCALAR(actiontime, ActionTime));
LAYOUT(gimbal::UavGimbalRotationPropertyMessage,
       RECORD(relativeanglerotation, RelativeAngleRotation));
LAYOUT(gimbal::GimbalAttitude3d, SCALAR(pitch, Pitch), SCALAR(roll, Roll),
       SCALAR(yaw, Yaw));
LAYOUT(gimbal::UavGimbalRotateReqMessage, SCALAR(seq, Seq),
       SCALAR(rotationmode, RotationMode),
       RECORD(rotationproperty, RotationProperty),
       RECORD(rotationvalue, RotationValue));
LAYOUT(channel::channelTopicMessage, SCALAR(topic_type, TopicType),
       SCALAR(src_node_id, SrcNodeId), SCALAR(dst_node_id, DstNodeId));
LAYOUT(sdksub::Vector3f, SCALAR(x, X), SCALAR(y, Y), SCALAR(z, Z));
LAYOUT(sdksub::Quaternion4f, SCALAR(q0, Q0), SCALAR(q1, Q1), SCALAR(q2, Q2),
       SCALAR(q3, Q3));
LAYOUT(sdksub::ImuAttiNaviData, SCALAR(version, Version), SCALAR(flag, Flag),
       SCALAR(pn_x, PnX), SCALAR(pn_y, PnY), SCALAR(pn_z, PnZ),
       SCALAR(vn_x, VnX), SCALAR(vn_y, VnY), SCALAR(vn_z, VnZ),
       SCALAR(an_x, AnX), SCALAR(an_y, AnY), SCALAR(an_z, AnZ), RECORD(q, Q),
       SCALAR(count, Count), SCALAR(timestamp, Timestamp));
LAYOUT(sdksub::hardSync, SCALAR(timestamp, Timestamp), RECORD(q, Q),
       RECORD(a, A), RECORD(w, W));
LAYOUT(sdksub::SingleBatteryInfo, SCALAR(batteryindex, BatteryIndex),
       SCALAR(currentvoltage, CurrentVoltage),
       SCALAR(currentelectric, CurrentElectric),
       SCALAR(fullcapacity, FullCapacity),
       SCALAR(remainedcapacity, RemainedCapacity),
       SCALAR(batterytemperature, BatteryTemperature),
       SCALAR(cellcount, CellCount),
       SCALAR(batterycapacitypercent, BatteryCapacityPercent),
       SCALAR(batterystate, BatteryState), SCALAR(batterysop, BatterySOP));
LAYOUT(protocol::singleTargetInfo, SCALAR(tnum, TNum), SCALAR(ttype, TType),
       SCALAR(tcalcnt, TCalCnt), SCALAR(tworkstatus, TWorkStatus),
       SCALAR(ttimecreate, TTimeCreate), SCALAR(ttimetest, TTimeTest),
       SCALAR(tsigband, TSigBand), SCALAR(tdistance, TDistance),
       SCALAR(tfreq, TFreq), SCALAR(tamp, TAmp), ZIGZAG(tmfw, TmFw),
       ZIGZAG(tmfy, TmFy), ZIGZAG(tffw, TfFw), ZIGZAG(tffy, TfFy),
       SCALAR(tconfidencelevel, TConfidenceLevel),
       SCALAR(ttimeoffset, TTimeOffset), TEXT(tname, TName));
LAYOUT(protocol::tracerMeasureInfoMessage, SCALAR(framenum, FrameNum),
       SCALAR(workstatus, WorkStatus), SCALAR(tarnum, TarNum),
       REPEATED(tarinfo, TarInfo, protocol::singleTargetInfo),
       SCALAR(workmode, WorkMode));
LAYOUT(stream::responseData, SCALAR(offset, Offset), SCALAR(length, Length),
       TEXT(session, Session));

#undef LAYOUT
#undef SCALAR
#undef ZIGZAG
#undef TEXT
#undef RECORD
#undef REPEATED

using RotationProperty = zorvik::gimbal::UavGimbalRotationPropertyMessage;

// The values of the fields, in the order of the layout.
template <typename... Fields>
auto Values(std::tuple<Fields...>*)
    -> std::tuple<decltype(Fields::Value(Fields::kGet))...>;
template <typename Message>
struct Record {
  using M = Message;
  using Fields = typename Layout<Message>::Fields;

  decltype(Values(static_cast<Fields*>(nullptr))) values;
};

template <typename Message, typename... Given>
Record<Message> Make(Given... values) {
  return {{values...}};
}

template <typename Value>
constexpr bool kIsText = std::is_same_v<Value, std::string_view>;
template <typename Value>
constexpr bool kIsRepeated = false;
template <typename Message>
constexpr bool kIsRepeated<std::vector<Record<Message>>> = true;

// Calls visit(Field(), value) for each field of a record. What walks the fields
// has to leave nothing but the work on them, hence the attributes.
template <typename Record, typename Visit>
[[gnu::always_inline]] inline void ForEachField(Record& record, Visit visit) {
  std::apply(
      [&](auto... field) {
        std::apply([&](auto&... value) { (visit(field, value), ...); },
                   record.values);
      },
      typename Record::Fields());
}

// Calls visit(Field(), value) for the field of this number, if there is one,
// and says whether there is.
template <size_t kFrom, size_t kTo, typename Record, typename Visit>
[[gnu::always_inline]] inline bool ForField(Record& record, int number,
                                            Visit visit) {
  constexpr size_t kMiddle = (kFrom + kTo) / 2;
  using Middle = std::tuple_element_t<kMiddle, typename Record::Fields>;
  if constexpr (kTo - kFrom > 1) {
    return number < Middle::kNumber
               ? ForField<kFrom, kMiddle>(record, number, visit)
               : ForField<kMiddle, kTo>(record, number, visit);
  } else {
    if (number != Middle::kNumber) return false;
    visit(Middle(), std::get<kMiddle>(record.values));
    return true;
  }
}

template <typename Message, typename Argument, typename Value>
[[gnu::always_inline]] inline void Set(Message* message,
                                       void (Message::*set)(Argument),
                                       Value value) {
  (message->*set)(static_cast<Argument>(value));
}

template <typename Message>
void Fill(const Record<Message>& from, Message* to) {
  ForEachField(
      from, [to](auto field, const auto& value) __attribute__((always_inline)) {
        using Value = std::decay_t<decltype(value)>;
        if constexpr (std::is_arithmetic_v<Value>) {
          Set(to, field.kSet, value);
        } else if constexpr (kIsText<Value>) {
          (to->*field.kSet)()->assign(value.data(), value.size());
        } else if constexpr (kIsRepeated<Value>) {
          auto* list = (to->*field.kSet)();
          list->Clear();
          for (const auto& record : value) Fill(record, list->Add());
        } else {
          Fill(value, (to->*field.kSet)());
        }
      });
}

template <typename Message>
void Read(const Message& from, Record<Message>* to) {
  ForEachField(
      *to, [&from](auto field, auto& value) __attribute__((always_inline)) {
        using Value = std::decay_t<decltype(value)>;
        if constexpr (std::is_arithmetic_v<Value>) {
          value = static_cast<Value>((from.*field.kGet)());
        } else if constexpr (kIsText<Value>) {
          value = (from.*field.kGet)();
        } else if constexpr (kIsRepeated<Value>) {
          const auto& list = (from.*field.kGet)();
          value.resize(static_cast<size_t>(list.size()));
          for (size_t i = 0; i < value.size(); ++i) {
            Read(list.Get(static_cast<int>(i)), &value[i]);
          }
        } else {
          Read((from.*field.kGet)(), &value);
        }
      });
}

// Back to zero without letting go of the records within: scalars one by one.
template <typename Message>
void ClearInPlace(const Record<Message>& fields, Message* message) {
  ForEachField(
      fields, [message](auto field,
                        const auto& value) __attribute__((always_inline)) {
        using Value = std::decay_t<decltype(value)>;
        if constexpr (std::is_arithmetic_v<Value>) {
          Set(message, field.kSet, 0);
        } else if ((message->*field.kHas)()) {
          auto* within = (message->*field.kSet)();
          if constexpr (std::is_same_v<Value, Record<RotationProperty>>) {
            within->clear_rotationvalueinvalidflag();
            within->clear_absoluteanglerotation();
            ClearInPlace(value, within);
          } else {
            within->Clear();
          }
        }
      });
}

}  // namespace records

#endif  // BENCH_LIBRARY_RECORDS_H_
