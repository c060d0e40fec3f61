#pragma once
#include "displayform.h"
class frmData : public DisplayForm
{
    Q_OBJECT
public:
    explicit frmData(ModUtility &util, QWidget *parent = nullptr) : DisplayForm(util, parent) {}
private:
    void buildOnlinePass(QList<PassRead> &) override {}
};
