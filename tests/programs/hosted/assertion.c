/* A failed assertion in an inlined routine at -O2: its text heads the report, which names
 * the routine and the line of the call. */
#undef NDEBUG
#include <assert.h>
#include <stdio.h>
#include <string.h>

struct account {
  char name[16];
  int balance;
};

static int withdraw(struct account* account, int amount) {
  assert(amount <= account->balance);
  return account->balance -= amount;
}

__attribute__((noinline)) static int settle(struct account* accounts, int count) {
  int total = 0;
  for (int i = 0; i < count; ++i) total += withdraw(&accounts[i], 100);
  return total;
}

int main(void) {
  struct account accounts[2] = {{"one", 300}, {"two", 50}};
  puts("lost with the buffer, as abort leaves it");
  return settle(accounts, (int)strlen("xy"));
}
