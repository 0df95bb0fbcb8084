/*
 * losswatch.h: how a change event receiver hears of losses the middleware
 * reports: its box overflowing, its connection dropping, the runtime server
 * changing. A LossWatch is a middleware listener installed for the life of
 * the receiving loop; it is called on the middleware's notifier thread.
 */
#ifndef MVSHARED_CHANGEEVENT_LOSSWATCH_H
#define MVSHARED_CHANGEEVENT_LOSSWATCH_H

#include <MVShared/MorvaneChangeEvent.h>

#include <string>

class MorvaneChangeEvent::LossWatch final : public DravoStatusListenerBase
{
public:
    /* box: the receiver's event box; server: the runtime server in use now
     * ("" when none). */
    LossWatch(MorvaneChangeEvent& receiver, std::string box, std::string server);

    void onMidDisconnected() override;
    void onActiveServerChanged(const char* address) override;
    void onEventBoxOverflow(const char* box, int dropped) override;

private:
    MorvaneChangeEvent& m_receiver;
    const std::string m_box;
    /* The last server this receiver was connected to (notifier thread). */
    std::string m_server;
};

#endif
