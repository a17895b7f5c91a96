/* The framework's string constants. Code may read them from its own static
   initializers, so a constructor that runs before every ordinary one sets
   them. The public headers declare them const; only this file assigns them. */

#define SC_SCHEMA_DEFINITION_UNIT 1
#include <SystemConfiguration/SystemConfiguration.h>

#define SC_DEFINE_CONSTANT(name, text) CFStringRef name;
SC_SCHEMA_KEYS(SC_DEFINE_CONSTANT)
SC_NETWORK_CONFIGURATION_TYPES(SC_DEFINE_CONSTANT)

__attribute__((constructor(102))) static void initConstants(void) {
#define SC_SET_CONSTANT(name, text) name = CFSTR(text);
  SC_SCHEMA_KEYS(SC_SET_CONSTANT)
  SC_NETWORK_CONFIGURATION_TYPES(SC_SET_CONSTANT)
}
