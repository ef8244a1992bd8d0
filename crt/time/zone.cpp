// What programs know of the zone by name: the difference from UTC and the abbreviations.
#include "time.h"

#undef _daylight
#undef _dstbias
#undef _timezone
#undef _tzname

using namespace crt;

namespace {

char standard_name[8] = "UTC", summer_name[8] = "UTC";

// The system's own names of zones are whole phrases in its language, so zones are named
// by their difference, as in "+01" and "-0330".
void name_of(long seconds, char* name) {
  if (seconds == 0) return;
  const long minutes = (seconds < 0 ? -seconds : seconds) / 60;
  *name++ = seconds < 0 ? '-' : '+';
  *name++ = static_cast<char>('0' + minutes / 600);
  *name++ = static_cast<char>('0' + minutes / 60 % 10);
  if (minutes % 60 != 0) {
    *name++ = static_cast<char>('0' + minutes % 60 / 10);
    *name++ = static_cast<char>('0' + minutes % 10);
  }
  *name = '\0';
}

}  // namespace

extern "C" {
long timezone_now __asm__("_timezone");
int daylight_now __asm__("_daylight");
long dstbias_now __asm__("_dstbias") = -3600;
char* names_now[2] __asm__("_tzname") = {standard_name, summer_name};
long* __p__timezone(void) { return &timezone_now; }
int* __p__daylight(void) { return &daylight_now; }
long* __p__dstbias(void) { return &dstbias_now; }
long* __timezone(void) { return &timezone_now; }
int* __daylight(void) { return &daylight_now; }
long* __dstbias(void) { return &dstbias_now; }
char** __tzname(void) { return names_now; }

void _tzset(void) {
  const long long year = 365 * kSecondsPerDay;
  const long long now = _time64(nullptr);
  const ZoneOffset here = zone_offset(now), half_a_year_on = zone_offset(now + year / 2);
  const ZoneOffset standard = here.summer ? half_a_year_on : here;
  const ZoneOffset summer = here.summer ? here : half_a_year_on;
  timezone_now = -standard.seconds;
  daylight_now = summer.summer;
  dstbias_now = daylight_now ? -(summer.seconds - standard.seconds) : 0;
  name_of(standard.seconds, standard_name);
  name_of(daylight_now ? summer.seconds : standard.seconds, summer_name);
}
}
