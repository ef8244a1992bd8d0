// What reads lines of the console takes from those that read keys.
#pragma once

namespace crt {

// What _ungetch has pushed back, which is then forgotten; EOF if nothing is.
int take_pushed_key();

}  // namespace crt
