/* What the sources of the common block example share. */
struct settings {
  double step;
  int limit;
};

/* In the program's second source: steps of settings->step up to the limit,
 * which it then doubles. */
int walk(void);

/* In the DLL. */
void count(int amount);
int tally(void);
int calls(void);
