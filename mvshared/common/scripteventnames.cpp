/*
 * scripteventnames.cpp: the texts of the script event names (declared in
 * ScriptEventNames.h); each is the constant's own name.
 */
#include <MVShared/ScriptEventNames.h>

#define MV_SCRIPT_EVENT(name) const QString Morvane::name = QStringLiteral(#name)

MV_SCRIPT_EVENT(onClick);
MV_SCRIPT_EVENT(onCurrentIndexChanged);
MV_SCRIPT_EVENT(onDataLoaded);
MV_SCRIPT_EVENT(onDateChanged);
MV_SCRIPT_EVENT(onDoubleClick);
MV_SCRIPT_EVENT(onGraphClicked);
MV_SCRIPT_EVENT(onItemClicked);
MV_SCRIPT_EVENT(onItemDoubleClicked);
MV_SCRIPT_EVENT(onLoad);
MV_SCRIPT_EVENT(onLogon);
MV_SCRIPT_EVENT(onLogout);
MV_SCRIPT_EVENT(onMouseEnter);
MV_SCRIPT_EVENT(onMouseLeave);
MV_SCRIPT_EVENT(onPointValueChanged);
MV_SCRIPT_EVENT(onReturnPressed);
MV_SCRIPT_EVENT(onRowDataRequest);
MV_SCRIPT_EVENT(onTextChanged);
MV_SCRIPT_EVENT(onXIndexSelected);
MV_SCRIPT_EVENT(onZoomLevelChanged);

#undef MV_SCRIPT_EVENT
