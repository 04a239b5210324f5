// The table on a terminal, full screen.
#ifndef TOOLS_ZORVIK_SCREEN_H_
#define TOOLS_ZORVIK_SCREEN_H_

#include <string>

#include "table.h"

// Has the terminal as long as it lives, and leaves it as it was.
class Screen {
 public:
  // Throws std::runtime_error when the terminal cannot show one.
  explicit Screen(bool colours);
  ~Screen();
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  void Draw(const Table& table, const std::string& title, Table::Time now);
  // Follows the keys. False when the user wants to leave.
  bool Obey();

 private:
  const bool colours_;
  int top_ = 0;  // The first row that is shown.
};

#endif  // TOOLS_ZORVIK_SCREEN_H_
