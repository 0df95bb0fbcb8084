/*
 * MorvaneRTServerSetting.h: the dialog in which an operator enters the
 * addresses of the two redundant runtime servers. It shows the middleware's
 * current setting; openServerSetting hands a confirmed pair back to the
 * middleware, which uses it from the next connection on. Addresses are not
 * checked: what the operator types is what the middleware gets.
 */
#ifndef MVSHARED_MORVANERTSERVERSETTING_H
#define MVSHARED_MORVANERTSERVERSETTING_H

#include <MVShared/MVSharedGlobal.h>

#include <QtCore/QString>
#include <QtWidgets/QDialog>

class MorvaneRTServerSettingPrivate;

class MVSHARED_EXPORT MorvaneRTServerSetting : public QDialog
{
    Q_OBJECT

public:
    /* Reads the middleware's addresses into the form and sizes the dialog
     * for the screen's DPI. */
    explicit MorvaneRTServerSetting(QWidget* parent = nullptr);
    ~MorvaneRTServerSetting() override;

    /* What the line edits hold now (not the stored copies). */
    QString address1() const;
    QString address2() const;
    /* Stores both and shows them in the line edits. */
    void setAddress(const QString& first, const QString& second);

    /* Runs the dialog modally; when it is accepted, stores the two addresses
     * (as Latin-1) as the middleware's default setting. The exec() result:
     * 1 accepted, 0 rejected. */
    static int openServerSetting();

private:
    MorvaneRTServerSettingPrivate* d_func();
    const MorvaneRTServerSettingPrivate* d_func() const;

    MorvaneRTServerSettingPrivate* const d;

    Q_DISABLE_COPY(MorvaneRTServerSetting)
};

#endif
