#include "ui/ndiintvalidator.h"

NdiIntValidator::NdiIntValidator(int bottom, int top, QObject* parent)
    : QIntValidator(bottom, top, parent) {}

NdiIntValidator::~NdiIntValidator() = default;

QValidator::State NdiIntValidator::validate(QString& input, int& pos) const {
    // An input longer than the plain form of its value has superfluous zeros, signs or blanks. The
    // empty text and a lone minus sign are not longer than "0", so the base class judges them.
    const QString canonical = QString::number(input.toInt());
    if (canonical.length() < input.length()) {
        return Invalid;
    }
    return QIntValidator::validate(input, pos);
}

void NdiIntValidator::fixup(QString& input) const {
    input = QString::number(bottom());
}
