// The return stack of CDBNavigate: one stack of entity ids for the whole process,
// shared by all drawings, created at its first use. A walk that stops early leaves ids on
// it, and they pop into the next walk of any drawing.
//
// Bounds, so that a damaged drawing cannot make the display walk endless:
// - kNavigateMaxNesting: at most this many inserts are entered one inside the other, so
//   the stack never holds more ids. An insert met at that depth is not entered.
// - An insert of a block that is already being walked (its own block, or the block of an
//   id on the stack) is not entered either: a block that inserts itself, directly or
//   through others, is shown once at each level, not for ever.
// - kNavigateMaxSteps: one call of CDBNavigate takes at most this many steps (entities
//   looked at); past it the walk ends with -133.
// An insert that is not entered is stepped over like a hidden entity; what follows it
// (its attributes) is walked as usual.
#ifndef VELKO_NAVIGATE_STACK_H
#define VELKO_NAVIGATE_STACK_H

#include <cstddef>

constexpr size_t kNavigateMaxNesting = 32;
constexpr long kNavigateMaxSteps = 1L << 22;

// The number of ids on the return stack.
size_t NavigateStackDepth();
// Empties the return stack (for tests that walk drawings one after another).
void ResetNavigateStack();

#endif
