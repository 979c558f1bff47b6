// The fast blurs are obsolete: one body behind both names, which does no
// work and answers RX_Result_Unimplemented whatever it is given. Both stay
// in the override table.
#include "RX_Blur.h"

RX_Err RX_FastBlur_Straight(void*, ...) { return RX_Result_Unimplemented; }

extern "C" RX_API RX_Err RX_FastBlur_Premul(void*, ...) __attribute__((alias("RX_FastBlur_Straight")));
