def lines():
    return []
