__attribute__((dllimport)) int early_part(void);

int main(void) { return early_part(); }
