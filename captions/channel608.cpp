#include "captions/channel608.h"

#include <utility>

namespace quarrypack::captions {
namespace {

// The cell that a code leaves where it takes one. Underline and italics belong to the words beside
// it.
Cell spaceOf(const Style& style) { return {u' ', {style.color, false, false}}; }

}  // namespace

void Channel608::character(char16_t glyph, Time time) {
  now_ = time;
  if (accepts()) put({glyph, style_});
}

void Channel608::control(const ControlCode& code, Time time) {
  now_ = time;
  std::visit([this](const auto& alternative) { act(alternative); }, code);
}

void Channel608::finish(Time time) {
  now_ = time;
  eraseDisplayed();
  discardLoad();
}

void Channel608::act(const Preamble& code) {
  if (!accepts()) return;
  if (mode_ == CaptionMode::rollUp) {
    moveBaseRow(code.row);
  } else {
    row_ = code.row;
  }
  column_ = code.column;
  style_ = code.style;
}

void Channel608::act(const MidRow& code) {
  if (!accepts()) return;
  style_ = {code.color.value_or(style_.color), !code.color, code.underline};
  put(spaceOf(style_));
}

void Channel608::act(const CodedCharacter& code) {
  if (!accepts()) return;
  if (code.replacesPrevious) stepBack();
  put({code.glyph, style_});
}

void Channel608::act(const BlackCharacters& code) {
  if (accepts()) style_ = {Color::black, style_.italic, code.underline};
}

void Channel608::act(const TabOffset& code) {
  if (accepts()) column_ = std::max(column_, std::min(column_ + code.columns, kColumns - 1));
}

void Channel608::act(Command command) {
  switch (command) {
    case Command::resumeLoading:
      return enter(CaptionMode::popOn);
    case Command::resumeDirect:
      enter(CaptionMode::paintOn);
      return announce(DisplayEvent::direct);
    case Command::rollUp2:
      return enterRollUp(2);
    case Command::rollUp3:
      return enterRollUp(3);
    case Command::rollUp4:
      return enterRollUp(4);
    case Command::textRestart:
    case Command::resumeText:
      inText_ = true;
      return;
    case Command::eraseDisplayed:
      return eraseDisplayed();
    case Command::eraseNotDisplayed:
      return eraseHidden();
    case Command::endOfCaption:
      return flip();
    case Command::carriageReturn:
      return carriageReturn();
    case Command::deleteToEndOfRow:
      return deleteToEndOfRow();
    case Command::flashOn:
      if (accepts()) put(spaceOf(style_));
      return;
    case Command::backspace:
      if (!accepts() || column_ == 0) return;
      stepBack();
      return replace(cursorRow().at(static_cast<std::size_t>(column_)), {});
    case Command::alarmOff:
    case Command::alarmOn:
      return;
  }
}

void Channel608::enter(CaptionMode mode) {
  if (mode_ == CaptionMode::rollUp) row_ = baseRow_;
  mode_ = mode;
  inText_ = false;
}

// A roll-up caption that continues keeps its text. One that follows another mode begins on an empty
// screen, at the bottom unless a preamble sets another row.
void Channel608::enterRollUp(int depth) {
  const bool goesOn = mode_ == CaptionMode::rollUp;
  if (!goesOn) eraseBoth();
  enter(CaptionMode::rollUp);
  if (goesOn) {
    dropRowsAbove(depth);
    depth_ = depth;
    moveBaseRow(baseRow_);
    return;
  }
  depth_ = depth;
  baseRow_ = kRows;
  column_ = 0;
  style_ = {};
}

void Channel608::eraseBoth() {
  eraseDisplayed();
  eraseHidden();
}

void Channel608::eraseHidden() {
  discardLoad();
  hidden_.clear();
}

void Channel608::discardLoad() {
  if (loadedSince_ && hidden_.isLegible()) listener_.loadDiscarded(channel_, *loadedSince_);
  loadedSince_.reset();
}

void Channel608::flip() {
  announce(DisplayEvent::flip);
  std::swap(displayed_, hidden_);
  loadedSince_.reset();
  enter(CaptionMode::popOn);
}

void Channel608::carriageReturn() {
  if (inText_ || mode_ != CaptionMode::rollUp) return;
  bool remains = false;
  for (int row = topRow() + 1; row <= baseRow_; ++row) remains |= isLegible(displayed_.row(row));
  announce(remains ? DisplayEvent::carriageReturn : DisplayEvent::erase);
  for (int row = topRow(); row < baseRow_; ++row) displayed_.row(row) = displayed_.row(row + 1);
  displayed_.row(baseRow_) = {};
  column_ = 0;
  style_ = {};
}

// Moves the whole caption. It stays on the screen: a base row too high for its rows is lowered.
void Channel608::moveBaseRow(int row) {
  const int base = std::max(row, depth_);
  if (base == baseRow_) return;
  announce(DisplayEvent::rearrange);
  Screen moved;
  for (int above = 0; above < std::min(depth_, baseRow_); ++above) {
    moved.row(base - above) = displayed_.row(baseRow_ - above);
  }
  displayed_ = moved;
  baseRow_ = base;
}

void Channel608::dropRowsAbove(int depth) {
  if (depth >= depth_) return;
  announce(DisplayEvent::rearrange);
  for (int row = topRow(); row <= baseRow_ - depth; ++row) displayed_.row(row) = {};
}

void Channel608::eraseDisplayed() {
  announce(DisplayEvent::erase);
  displayed_.clear();
}

void Channel608::deleteToEndOfRow() {
  if (!accepts()) return;
  ScreenRow& row = cursorRow();
  for (auto at = static_cast<std::size_t>(column_); at < row.size(); ++at) replace(row.at(at), {});
}

ScreenRow& Channel608::cursorRow() {
  Screen& written = mode_ == CaptionMode::popOn ? hidden_ : displayed_;
  return written.row(mode_ == CaptionMode::rollUp ? baseRow_ : row_);
}

void Channel608::stepBack() { column_ = std::max(column_ - 1, 0); }

void Channel608::put(Cell cell) {
  const int at = std::min(column_, kColumns - 1);
  const bool overflows = at < column_;
  if (overflows && !overflows_) listener_.rowOverflowing(channel_, now_);
  overflows_ = overflows;
  replace(cursorRow().at(static_cast<std::size_t>(at)), cell);
  column_ = at + 1;
}

void Channel608::replace(Cell& old, Cell cell) {
  if (mode_ != CaptionMode::popOn && (old.isLegible() || cell.isLegible())) {
    announce(DisplayEvent::write);
  }
  if (mode_ == CaptionMode::popOn && cell.isLegible() && !loadedSince_) loadedSince_ = now_;
  old = cell;
}

void Channel608::announce(DisplayEvent event) {
  listener_.displayChanging({channel_, event, mode_, now_, displayed_, baseRow_, depth_});
}

}  // namespace quarrypack::captions
