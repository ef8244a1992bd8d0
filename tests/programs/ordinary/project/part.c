__declspec(dllexport) int store(int* place) { return *place = 1; }
