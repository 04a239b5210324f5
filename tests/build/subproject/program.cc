#include "positionMessage.pb.h"

int main() {
  zorvik::position::positionInfo info;
  info.mutable_uavattitude()->set_yaw(-1);
  zorvik::position::positionInfo copy;
  const bool same = copy.ParseFromString(info.SerializeAsString()) &&
                    copy.uavattitude().yaw() == -1;
  return same ? 0 : 1;
}
