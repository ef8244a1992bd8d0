// Sorting and searching with a context, and in arrays without order.
#include <search.h>
#include <stdlib.h>
#include <string.h>

#include "../crt.h"

extern "C" void __qsort_r(void*, size_t, size_t, int (*)(const void*, const void*, void*), void*);

namespace {

using Compare = int(const void*, const void*);
using CompareWith = int(void*, const void*, const void*);

struct Order {
  CompareWith* compare;
  void* context;
};

int compare_in_order(const void* left, const void* right, void* given) {
  const Order& order = *static_cast<const Order*>(given);
  return order.compare(order.context, left, right);
}

template <class Equal>
void* find(const void* base, unsigned count, size_t size, Equal equal) {
  const char* element = static_cast<const char*>(base);
  for (unsigned i = 0; i < count; ++i, element += size) {
    if (equal(element)) return const_cast<char*>(element);
  }
  return nullptr;
}

void* append(const void* key, void* base, unsigned* count, size_t size) {
  return memcpy(static_cast<char*>(base) + size * (*count)++, key, size);
}

}  // namespace

CRT_API void qsort_s(void* base, size_t count, size_t size, CompareWith* compare, void* context) {
  Order order = {compare, context};
  if ((!base && count > 0) || size == 0 || !compare) {
    errno = EINVAL;
    return;
  }
  __qsort_r(base, count, size, compare_in_order, &order);
}

CRT_API void* bsearch_s(const void* key, const void* base, size_t count, size_t size,
                        CompareWith* compare, void* context) {
  const char* first = static_cast<const char*>(base);
  if ((!base && count > 0) || size == 0 || !compare) {
    errno = EINVAL;
    return nullptr;
  }
  while (count > 0) {
    const char* const middle = first + size * (count / 2);
    const int order = compare(context, key, middle);
    if (order == 0) return const_cast<char*>(middle);
    if (order > 0) first = middle + size;
    count = order > 0 ? count - count / 2 - 1 : count / 2;
  }
  return nullptr;
}

CRT_API void* _lfind(const void* key, const void* base, unsigned* count, unsigned size,
                     Compare* compare) {
  return find(base, *count, size, [=](const void* element) { return compare(key, element) == 0; });
}
CRT_API void* _lsearch(const void* key, void* base, unsigned* count, unsigned size,
                       Compare* compare) {
  void* const found = _lfind(key, base, count, size, compare);
  return found ? found : append(key, base, count, size);
}
CRT_API void* _lfind_s(const void* key, const void* base, unsigned* count, size_t size,
                       CompareWith* compare, void* context) {
  return find(base, *count, size,
              [=](const void* element) { return compare(context, key, element) == 0; });
}
CRT_API void* _lsearch_s(const void* key, void* base, unsigned* count, size_t size,
                         CompareWith* compare, void* context) {
  void* const found = _lfind_s(key, base, count, size, compare, context);
  return found ? found : append(key, base, count, size);
}
