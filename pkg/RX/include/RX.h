/* Everything the package exports. */
#ifndef RX_H
#define RX_H

#include "RX_Config.h"
#include "RX_Results.h"
#include "RX_Pixels.h"
#include "RX_Frame.h"
#include "RX_Iterate.h"
#include "RX_Copy.h"
#include "RX_EffectWorlds.h"
#include "RX_Fill.h"
#include "RX_Messages.h"
#include "RX_Modes.h"
#include "RX_Premul.h"
#include "RX_Sampling.h"
#include "RX_AreaSampling.h"
#include "RX_World.h"
#include "RX_Color.h"
#include "RX_Transfer.h"
#include "RX_Blend.h"
#include "RX_TransferRect.h"
#include "RX_Draw.h"
#include "RX_GuessAlpha.h"
#include "RX_Wireframe.h"
#include "RX_Suites.h"

#endif
