-- Changes of a store by others, after evil-owner.sql. Each names a user and a part of that user's error.

-- postgres: accepted
SELECT 1;

-- postgres:  is not an ordinary table;
DROP TABLE orvex.settings;
CREATE VIEW orvex.settings AS SELECT 'schemaVersion'::text AS name, public.evil() AS value;

-- postgres: "evil", which owns its table "messages", could run code with your rights,
ALTER TABLE orvex.messages ADD CHECK (public.evil() = 1) NOT VALID;
SELECT public.give_store('evil');

-- chief: "evil", which owns its table "messages", could run code with your rights,
ALTER TABLE orvex.messages ADD CHECK (public.evil() = 1) NOT VALID;
SELECT public.give_store('evil');

-- anybody: accepted
-- A user without such rights trusts any owner; a superuser does not trust a database's owner.
SELECT public.give_store('evil');

-- chief: accepted
SELECT public.give_store('chief');

-- postgres: "chief", which owns
SELECT public.give_store('chief');

-- postgres: which owns its table "messages", does not own the schema orvex
ALTER TABLE orvex.messages OWNER TO evil;

-- postgres: which owns its table "messages", does not own the schema orvex
ALTER SCHEMA orvex OWNER TO evil;

-- postgres: its table "messages" has a child or a parent, a trigger, a rule or row security,
CREATE TABLE public.child () INHERITS (orvex.messages);

-- postgres: its table "messages" has a child or a parent, a trigger, a rule or row security,
CREATE TRIGGER t BEFORE INSERT ON orvex.messages EXECUTE FUNCTION suppress_redundant_updates_trigger();

-- postgres: its table "messages" has a child or a parent, a trigger, a rule or row security,
CREATE TABLE public.other (u uuid REFERENCES orvex.messages (record_uuid));

-- postgres: its table "messages" has a child or a parent, a trigger, a rule or row security,
CREATE RULE r AS ON INSERT TO orvex.messages DO ALSO SELECT 1;

-- postgres: its table "messages" has a child or a parent, a trigger, a rule or row security,
CREATE POLICY p ON orvex.messages;

-- postgres: its table "messages" has a child or a parent, a trigger, a rule or row security,
ALTER TABLE orvex.messages ENABLE ROW LEVEL SECURITY;

-- postgres: the schema orvex is there, without a store, and belongs to another role,
-- The schema's owner could replace it while the tables are created.
DROP TABLE orvex.messages, orvex.settings;
ALTER SCHEMA orvex OWNER TO evil;

-- postgres&options=-crole%3Dchief: the schema orvex is there, without a store, and belongs to another role,
DROP TABLE orvex.messages, orvex.settings;
ALTER SCHEMA orvex OWNER TO chief;

-- postgres: is not that of a message store
-- Any user who may create tables in the schema could create the missing one.
DROP TABLE orvex.settings;
