// Which message travels under which topic type of the channel envelope.
#ifndef FUZZ_TOPICS_H_
#define FUZZ_TOPICS_H_

#include <map>
#include <string>

// Full names of messages by topic type, from the catalogue. Topic types whose
// content is open are not in it.
const std::map<int, std::string>& CarriedMessages();

#endif  // FUZZ_TOPICS_H_
