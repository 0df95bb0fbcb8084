/*
 * MVShared.h: the umbrella header. Including it gives an application every
 * exported class of the library and the middleware records it passes around.
 */
#ifndef MVSHARED_H
#define MVSHARED_H

#include <DravoPlus/DravoPlus.h>

#include <MVShared/AppIcons.h>
#include <MVShared/BoundedUncompress.h>
#include <MVShared/FreeMemory.h>
#include <MVShared/DataLinkInfo.h>
#include <MVShared/FormValues.h>
#include <MVShared/HiDPI.h>
#include <MVShared/JsonEventMessage.h>
#include <MVShared/JsonText.h>
#include <MVShared/LoggerEngines.h>
#include <MVShared/LogTimeIntervals.h>
#include <MVShared/MorvaneChangeEvent.h>
#include <MVShared/MorvaneRTServerSetting.h>
#include <MVShared/MorvaneStreamItem.h>
#include <MVShared/MorvaneTexts.h>
#include <MVShared/MorvaneTypes.h>
#include <MVShared/MVSharedGlobal.h>
#include <MVShared/MVSharedVersion.h>
#include <MVShared/OEMTextManager.h>
#include <MVShared/PointIds.h>
#include <MVShared/PointMimeData.h>
#include <MVShared/PythonDateTime.h>
#include <MVShared/RemoteCommandReply.h>
#include <MVShared/RemoteSystemResult.h>
#include <MVShared/ScadaActionStream.h>
#include <MVShared/ScadaRuntimeInterface.h>
#include <MVShared/ScriptEventNames.h>
#include <MVShared/SunCalculator.h>
#include <MVShared/SystemEnvironmentVariable.h>
#include <MVShared/SystemOptionChangeMessage.h>
#include <MVShared/Translations.h>

#endif
