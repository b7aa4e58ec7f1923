// Constants that the library takes from its core library at run time.
#pragma once

extern "C" {
extern const float zelConstantOfINF_32f __attribute__((visibility("default")));
extern const float zelConstantOfINF_NEG_32f __attribute__((visibility("default")));
extern const float zelConstantOfNAN_32f __attribute__((visibility("default")));
extern const double zelConstantOfINF_64f __attribute__((visibility("default")));
extern const double zelConstantOfINF_NEG_64f __attribute__((visibility("default")));
extern const double zelConstantOfNAN_64f __attribute__((visibility("default")));
}
