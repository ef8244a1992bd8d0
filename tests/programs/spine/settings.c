/* The environment and the registry, which is asked first. */
#include <stdio.h>
#include <stdlib.h>
#include <tarn/runtime.h>

static void show(const char* what, const char* value) {
  printf("%s: %s\n", what, value ? value : "(none)");
}

int main(void) {
  show("environment", getenv("TARN_TEST_SETTING"));
  show("registry first", read_config_key("TARN_TEST_SETTING"));
  show("environment second", read_config_key("TARN_TEST_OTHER"));
  show("neither", read_config_key("TARN_TEST_NOTHING"));
  show("other key", ReadRegAndEnv("Software\\Tarnley\\Other", "TARN_TEST_OTHER"));
  return 0;
}
