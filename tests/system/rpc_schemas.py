"""Holds answers and notifications of the runtime's server against the schemas of its description."""

import jsonschema


def closed(schema):
    """The schema, with no other members than those that it names."""
    if isinstance(schema, list):
        return [closed(entry) for entry in schema]
    if not isinstance(schema, dict):
        return schema
    inner = {key: closed(value) for key, value in schema.items()}
    return {**inner, "additionalProperties": False} if "properties" in inner else inner


def validators(schemas):
    found = {}
    for name, schema in schemas:
        jsonschema.Draft7Validator.check_schema(schema)
        found[name] = jsonschema.Draft7Validator(closed(schema))
    return found


class Described:
    """A client whose answers are held against their schemas; `unasked` has the methods without one."""

    def __init__(self, client):
        self.client = client
        description = client.result("server.describe")
        self.results = validators((method["name"], method["result"]["schema"])
                                  for method in description["methods"])
        self.notifications = validators((entry["name"], entry["params"])
                                        for entry in description["x-notifications"])
        self.unasked = set(self.results)

    def check(self, method, answer):
        self.results[method].validate(answer)
        self.unasked.discard(method)
        return answer

    def ask(self, method, **params):
        return self.check(method, self.client.result(method, **params))
