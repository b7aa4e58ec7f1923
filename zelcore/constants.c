/* Stands in for the core library: the six constants that zelsr reads from it. The real one takes its place at
 * run time, so the definitions are plain exported data. */

#define EXPORTED __attribute__((visibility("default")))

EXPORTED const float zelConstantOfINF_32f = __builtin_inff();
EXPORTED const float zelConstantOfINF_NEG_32f = -__builtin_inff();
EXPORTED const float zelConstantOfNAN_32f = __builtin_nanf("");
EXPORTED const double zelConstantOfINF_64f = __builtin_inf();
EXPORTED const double zelConstantOfINF_NEG_64f = -__builtin_inf();
EXPORTED const double zelConstantOfNAN_64f = __builtin_nan("");
