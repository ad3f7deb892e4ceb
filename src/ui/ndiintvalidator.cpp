#include "ui/ndiintvalidator.h"

NdiIntValidator::NdiIntValidator(int bottom, int top, QObject* parent)
    : QIntValidator(bottom, top, parent) {}

NdiIntValidator::~NdiIntValidator() = default;

QValidator::State NdiIntValidator::validate(QString& input, int& pos) const {
    // What is longer than the plain form of its own value has zeros, signs or blanks too many.
    // The empty text and a lone minus sign are not longer than "0" and stay open to completion.
    const QString canonical = QString::number(input.toInt());
    if (canonical.length() < input.length()) {
        return Invalid;
    }
    return QIntValidator::validate(input, pos);
}

void NdiIntValidator::fixup(QString& input) const {
    input = QString::number(bottom());
}
