#include "Orvex/store/MessageStoreClient.h"

#include <utility>

namespace Orvex {

namespace {

MessageStoreClient::StoreFactory& storeFactory() {
    static MessageStoreClient::StoreFactory factory;
    return factory;
}

} // namespace

void MessageStoreClient::setStoreFactory(StoreFactory factory) {
    storeFactory() = std::move(factory);
}

MessageStore& MessageStoreClient::store() {
    if (!store_) {
        if (!storeFactory()) {
            throw MessageStoreError("cannot reach a message store: the host has not chosen one");
        }
        store_ = storeFactory()();
    }
    return *store_;
}

} // namespace Orvex
