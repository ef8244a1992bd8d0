extern "C" __declspec(dllimport) void greet(const char* name);

struct Greeting {
  explicit Greeting(const char* name) { greet(name); }
  virtual ~Greeting() {}
  int status = 5;
};

int main(int count, char** arguments) {
  Greeting* const greeting = new Greeting(count > 1 ? arguments[1] : "world");
  const int status = greeting->status;
  delete greeting;
  return status;
}
