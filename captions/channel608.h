#pragma once

#include <optional>

#include "captions/screen608.h"

namespace quarrypack::captions {

// One caption channel: its two screens, the cursor and the mode. The caller passes the meaning of
// each pair, without repeated codes. The channel reports to the listener what happens on the
// visible screen.
class Channel608 {
 public:
  // The listener must outlive the channel.
  Channel608(Channel channel, DisplayListener& listener) : channel_(channel), listener_(listener) {}

  void character(char16_t glyph, Time time);
  void control(const ControlCode& code, Time time);
  // Removes what is displayed from the screen.
  void finish(Time time);

  // Whether characters are for the text service, which shows pages instead of captions.
  bool isInText() const { return inText_; }

 private:
  void act(const Preamble& code);
  void act(const MidRow& code);
  void act(const CodedCharacter& code);
  void act(const BlackCharacters& code);
  void act(const TabOffset& code);
  void act(Command command);
  void act(const Background&) {}
  void act(const CharacterSet&) {}
  void act(const WrongFieldCommand&) {}
  void act(const UnknownCode&) {}

  void enter(CaptionMode mode);
  void enterRollUp(int depth);
  void eraseBoth();
  void eraseHidden();
  void discardLoad();
  void flip();
  void carriageReturn();
  void moveBaseRow(int row);
  void dropRowsAbove(int depth);
  void eraseDisplayed();
  void deleteToEndOfRow();
  void stepBack();
  void put(Cell cell);
  void replace(Cell& old, Cell cell);
  void announce(DisplayEvent event);

  bool accepts() const { return !inText_ && mode_ != CaptionMode::none; }
  // The row of the cursor, on the screen that is being written.
  ScreenRow& cursorRow();
  int topRow() const { return baseRow_ - depth_ + 1; }

  Channel channel_;
  DisplayListener& listener_;
  Screen displayed_;
  Screen hidden_;
  CaptionMode mode_ = CaptionMode::none;
  bool inText_ = false;
  int depth_ = 2;        // rows of a roll-up caption
  int baseRow_ = kRows;  // the lowest of these rows, where the cursor stays in roll-up
  int row_ = kRows;      // of the cursor otherwise
  int column_ = 0;       // of the cursor; kColumns when the last cell of the row was just written
  bool overflows_ = false;  // the latest character overwrote the last one of its row
  Style style_;
  std::optional<Time> loadedSince_;  // when the first character of an unseen caption was loaded
  Time now_{0};
};

}  // namespace quarrypack::captions
