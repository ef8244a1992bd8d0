// An object of a thread lives to the end of the program, as its storage does. Hosted C++
// programs have another routine of this name.

extern "C" {

using Destructor = void (*)(void* object);
int __cxa_atexit(Destructor destructor, void* object, void* image);

int __cxa_thread_atexit(Destructor destructor, void* object, void* image) {
  return __cxa_atexit(destructor, object, image);
}
}
