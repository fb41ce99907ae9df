/// A list of pointers whose nodes come from a pool: it grows on the filter's thread, where nodes are then allocated
/// only once the pool is exhausted.
#pragma once

#include <memory>

/// Doubly linked list of pointers to `T`. The list doesn't own the payloads.
template <typename T>
class SList {
 public:
    static constexpr int kCursors = 10;

    struct Node {
        Node* next;
        Node* prev;
        T* payload;
    };

    /// \param n  nodes in the pool; more are allocated one by one
    explicit SList(unsigned int n) : free_nodes(std::make_unique<Node[]>(n + 1)) {
        for (unsigned int i = 0; i < n; ++i) {
            free_nodes[i].prev = i > 0 ? &free_nodes[i - 1] : nullptr;
            free_nodes[i].next = i + 1 < n ? &free_nodes[i + 1] : nullptr;
        }
        free_head = n > 0 ? &free_nodes[0] : nullptr;
        free_tail = n > 0 ? &free_nodes[n - 1] : nullptr;
        mPoolEnd = free_nodes.get() + n;
    }

    ~SList() {
        while (list_head != nullptr) {
            Node* node = list_head;
            list_head = node->next;
            if (!FromPool(node)) delete node;
        }
    }
    SList(const SList&) = delete;
    SList& operator=(const SList&) = delete;

    /// Appends a payload.
    void push_back(T* payload) {
        Node* node = get_free_node();
        node->payload = payload;
        node->next = nullptr;
        node->prev = list_tail;
        (list_tail != nullptr ? list_tail->next : list_head) = node;
        list_tail = node;
        ++len;
    }

    /// Sets a cursor to the front.
    /// \param id  cursor, 0 to 9; cursors are independent
    /// \return the first payload, null for an empty list
    T* begin(int id) {
        iterator[id] = list_head;
        return list_head != nullptr ? list_head->payload : nullptr;
    }

    /// Advances a cursor. \return its payload; null at the end and after it
    T* next(int id) {
        if (iterator[id] != nullptr) iterator[id] = iterator[id]->next;
        return iterator[id] != nullptr ? iterator[id]->payload : nullptr;
    }

    /// \return number of payloads
    unsigned int length() const { return len; }

 private:
    Node* get_free_node() {
        if (free_head == nullptr) return new Node;
        Node* node = free_head;
        free_head = node->next;
        (free_head != nullptr ? free_head->prev : free_tail) = nullptr;
        return node;
    }

    bool FromPool(const Node* node) const { return node >= free_nodes.get() && node < mPoolEnd; }

    std::unique_ptr<Node[]> free_nodes;
    Node* list_head = nullptr;
    Node* list_tail = nullptr;
    Node* free_head = nullptr;
    Node* free_tail = nullptr;
    Node* iterator[kCursors] = {};
    unsigned int len = 0;
    const Node* mPoolEnd = nullptr;
};
