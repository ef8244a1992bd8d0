__declspec(dllimport) void greet(const char* name);

int main(int count, char** arguments) {
  greet(count > 1 ? arguments[1] : "world");
  return 3;
}
