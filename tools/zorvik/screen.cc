#include "screen.h"

#include <curses.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>

namespace {

constexpr short kFaulty = 1;
constexpr char kColumns[] = "%6s %-*.*s %9s %8s %7s  %s";
// What the other columns but the last one take; the topic has what is left.
constexpr int kOthers = 36, kLeastTopic = 12, kMostTopic = 40;

std::string TextOfRow(int width, const std::string& node,
                      const std::string& topic, const std::string& count,
                      const std::string& rate, const std::string& age,
                      const std::string& content) {
  char text[1024];
  const int left = std::clamp(width - kOthers, kLeastTopic, kMostTopic);
  std::snprintf(text, sizeof text, kColumns, node.c_str(), left, left,
                topic.c_str(), count.c_str(), rate.c_str(), age.c_str(),
                content.c_str());
  return text;
}

std::string Rounded(double number, const char* unit) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f%s", number, unit);
  return text;
}

}  // namespace

Screen::Screen(bool colours) : colours_(colours) {
  if (newterm(nullptr, stdout, stdin) == nullptr) {
    throw std::runtime_error(
        "this terminal cannot show a table; --lines needs none");
  }
  cbreak();
  noecho();
  nodelay(stdscr, TRUE);
  keypad(stdscr, TRUE);
  curs_set(0);
  if (colours_ && has_colors()) {
    start_color();
    use_default_colors();
    init_pair(kFaulty, COLOR_RED, -1);
  }
}

Screen::~Screen() { endwin(); }

void Screen::Draw(const Table& table, const std::string& title,
                  Table::Time now) {
  erase();
  const int height = getmaxy(stdscr), width = getmaxx(stdscr);
  const auto put = [&](int y, const std::string& text) {
    if (y < height) mvaddnstr(y, 0, text.c_str(), width);
  };
  const int rows = static_cast<int>(table.rows().size());
  top_ = std::max(0, std::min(top_, rows - (height - 3)));
  put(0, title);
  attron(A_REVERSE);
  std::string header = TextOfRow(width, "node", "topic type", "count",
                                 "a second", "age", "faults; last content");
  header.resize(std::max<size_t>(header.size(), width), ' ');
  put(1, header);
  attroff(A_REVERSE);
  int y = 2 - top_;
  for (const auto& [key, row] : table.rows()) {
    if (y >= 2 && y < height - 1) {
      const std::chrono::duration<double> age = now - row.last;
      const std::string faults = row.Faults();
      const attr_t look = faults.empty() ? A_NORMAL
                          : colours_     ? COLOR_PAIR(kFaulty)
                                         : A_BOLD;
      attron(look);
      put(y, TextOfRow(width, std::to_string(key.first), row.topic,
                       std::to_string(row.count), Rounded(row.rate, ""),
                       Rounded(age.count(), " s"),
                       faults + (faults.empty() ? "" : "; ") + row.content));
      attroff(look);
    }
    ++y;
  }
  put(height - 1, std::to_string(table.count()) + " envelopes, " +
                      std::to_string(table.faulty()) + " with faults, " +
                      std::to_string(rows) + " rows" +
                      (rows > height - 3 ? "; arrows scroll" : "") +
                      "; q leaves");
  refresh();
}

bool Screen::Obey() {
  for (int key = 0; (key = getch()) != ERR;) {
    if (key == 'q') return false;
    if (key == KEY_DOWN) ++top_;
    if (key == KEY_UP) --top_;
    if (key == KEY_NPAGE) top_ += getmaxy(stdscr) - 4;
    if (key == KEY_PPAGE) top_ -= getmaxy(stdscr) - 4;
  }
  return true;
}
