// Asks the terminal where its cursor is.
#pragma once

namespace tarn::platform {

enum class Answer {
  kPlace,   // it answered
  kNone,    // the terminal does not answer
  kNotNow,  // the process may not read from it now, or waits for its keys
};

// Where the terminal's cursor is, from (0, 0). What the user types meanwhile is
// held for the next read.
Answer ask_cursor(int terminal, int reader, int* column, int* row);

}  // namespace tarn::platform
