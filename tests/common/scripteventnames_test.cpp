/*
 * scripteventnames_test.cpp: the event names display scripts bind to; each
 * text is its constant's name.
 */
#include <MVShared/ScriptEventNames.h>

#include <gtest/gtest.h>

TEST(ScriptEventNamesTest, EachNameIsItsOwnText)
{
    const struct {
        const QString& name;
        const char* text;
    } names[] = {
        {Morvane::onClick, "onClick"},
        {Morvane::onCurrentIndexChanged, "onCurrentIndexChanged"},
        {Morvane::onDataLoaded, "onDataLoaded"},
        {Morvane::onDateChanged, "onDateChanged"},
        {Morvane::onDoubleClick, "onDoubleClick"},
        {Morvane::onGraphClicked, "onGraphClicked"},
        {Morvane::onItemClicked, "onItemClicked"},
        {Morvane::onItemDoubleClicked, "onItemDoubleClicked"},
        {Morvane::onLoad, "onLoad"},
        {Morvane::onLogon, "onLogon"},
        {Morvane::onLogout, "onLogout"},
        {Morvane::onMouseEnter, "onMouseEnter"},
        {Morvane::onMouseLeave, "onMouseLeave"},
        {Morvane::onPointValueChanged, "onPointValueChanged"},
        {Morvane::onReturnPressed, "onReturnPressed"},
        {Morvane::onRowDataRequest, "onRowDataRequest"},
        {Morvane::onTextChanged, "onTextChanged"},
        {Morvane::onXIndexSelected, "onXIndexSelected"},
        {Morvane::onZoomLevelChanged, "onZoomLevelChanged"},
    };
    for (const auto& entry : names)
        EXPECT_EQ(entry.name, QLatin1String(entry.text));
}
